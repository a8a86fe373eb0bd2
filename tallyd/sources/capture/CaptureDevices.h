// SPDX-License-Identifier: BSD-2-Clause
//
// The devices that LiveCapture reads. Functions without state, called on the thread that opens.
#pragma once

#include "tallyd/sources/actions/ActionPatterns.h"
#include "tallyd/sources/capture/LiveCapture.h"

namespace brindle::tallyd {

/// The packets that rules send to a netfilter log group ("log group 5"), in the network namespace
/// of this process. Needs CAP_NET_ADMIN. A group has one listener: a taken one is an error.
/// `patterns`: what a rule's prefix means.
tl::expected<OpenCapture, std::string> openNflogGroup(std::uint16_t group,
                                                      ActionPatterns patterns = ActionPatterns());

/// A log interface of pf ("pflog0"). Needs the right to capture.
tl::expected<OpenCapture, std::string> openPflogInterface(const std::string& interface);

} // namespace brindle::tallyd
