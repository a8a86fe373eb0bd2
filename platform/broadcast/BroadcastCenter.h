// SPDX-License-Identifier: BSD-2-Clause
//
// Broadcasts between the programs of a user, by way of the user's session bus, and the names under
// which programs are found there. Owned by a composition root; every call is made on the main
// thread, and every handler runs on the main queue. Nothing waits for another program, but for
// `hasOwner`, which waits for the bus, and not long. Without a bus everything does nothing.
//
//     center->post("sendAddressesToVardex", {{"addresses", {"192.0.2.1"}}});
//     quitting_ = center->observe("vardexIsQuitting", [](const UserInfo&) { quit(); });
#pragma once

#include "platform/queue/DispatchQueue.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace brindle::platform {

/// What a notification carries: lists of texts by key.
using UserInfo = std::map<std::string, std::vector<std::string>>;

/// Lives as long as something is to be heard of; its handler does not run after it is destroyed.
class Observation {
  public:
    virtual ~Observation() = default;
};

class BroadcastCenter {
  public:
    /// What became of the wish for a name: ours, another program's, or nobody's to give.
    enum class Claim { owned, taken, noBus };

    /// Waits up to half a second for what was posted to leave.
    virtual ~BroadcastCenter() = default;

    /// Fire and forget, to every program of the user that observes this name. `name`: letters and
    /// digits.
    virtual void post(const std::string& name, const UserInfo& userInfo) = 0;

    /// `handler`: with what the sender put in, as far as it has the form of a UserInfo.
    [[nodiscard]] virtual std::unique_ptr<Observation>
    observe(const std::string& name, std::function<void(const UserInfo&)> handler) = 0;

    /// Some program has this bus name now. False also when the bus does not answer within half a
    /// second.
    virtual bool hasOwner(const std::string& busName) = 0;

    /// `handler`: each time the name gets its owner (true) or loses it (false) from now on.
    [[nodiscard]] virtual std::unique_ptr<Observation>
    observeOwner(const std::string& busName, std::function<void(bool hasOwner)> handler) = 0;

    /// Asks for a bus name, to be kept while the center lives. `told` may be empty.
    virtual void own(const std::string& busName, std::function<void(Claim)> told) = 0;

    /// Gives the arguments of this program to the one that owns the name. `told`: whether it has
    /// taken them.
    virtual void handOver(const std::string& busName, const std::vector<std::string>& arguments,
                          std::function<void(bool taken)> told) = 0;

    /// Takes what other programs hand over to the owner of this name, from any of them. Begin with
    /// it before asking for the name, so that nothing comes too early.
    [[nodiscard]] virtual std::unique_ptr<Observation>
    receiveHandOvers(const std::string& busName,
                     std::function<void(std::vector<std::string> arguments)> handler) = 0;
};

/// `main`: the main queue. `address`: of the bus, as the bus itself writes it; empty for the user's
/// session bus. Made after the application object.
std::unique_ptr<BroadcastCenter> makeBroadcastCenter(std::shared_ptr<DispatchQueue> main,
                                                     std::string address = {});

} // namespace brindle::platform
