// SPDX-License-Identifier: BSD-2-Clause
//
// The two kinds of proxies a connection gives out. Each belongs to one error handler; they may
// outlive the connection, whereupon every request fails.
#pragma once

#include "protocol/TallydConnection.h"
#include "protocol/client/Link.h"

#include <memory>

namespace brindle::client {

std::shared_ptr<TallydHelperProtocol> makeAsynchronousProxy(std::weak_ptr<Link> link,
                                                            ErrorHandler handler);
std::shared_ptr<TallydHelperProtocol> makeSynchronousProxy(std::weak_ptr<Link> link,
                                                           ErrorHandler handler);

} // namespace brindle::client
