// SPDX-License-Identifier: BSD-2-Clause
#include "core/log/LogTables.h"

#include <limits>
#include <utility>

namespace brindle {

namespace {

/// Any text has one; texts that are equal have the same.
std::size_t portNumber(std::string_view text) {
    std::size_t number = 0;
    for (const char digit : text)
        number = number * 10 + static_cast<unsigned char>(digit);
    return number % 65536;
}

} // namespace

PortNames::PortNames(std::unordered_map<std::string, std::string> names)
    : names_(std::move(names)) {
    for (const auto& [port, name] : names_)
        named_[portNumber(port)] = true;
}

const std::string& PortNames::name(std::string_view port) const {
    static const std::string none;
    if (!named_[portNumber(port)])
        return none;
    const auto found = names_.find(std::string(port));
    return found == names_.end() ? none : found->second;
}

LogTables::LogTables(std::function<std::string(std::uint32_t)> accountName)
    : accountName_(std::move(accountName)), genericUser_(Picture::named("NSUser")),
      blockedUp_(Picture::named("blockedup")), blockedDown_(Picture::named("blockeddown")),
      passedUp_(Picture::named("passedup")), passedDown_(Picture::named("passeddown")) {}

const LogUser& LogTables::userForUid(std::int64_t uid) {
    if (const auto found = users_.find(uid); found != users_.end())
        return found->second;
    for (const VDXSystemUser& user : systemUserList)
        if (user.posixID == uid)
            return users_.emplace(uid, LogUser{user.posixName, user.smallRoundImage}).first->second;
    return users_.emplace(uid, LogUser{nameByUid(uid), genericUser_}).first->second;
}

const std::string& LogTables::nameByUid(std::int64_t uid) {
    // What different systems write for "nobody": -2 and -1, and -2 and 2^31 - 1 as unsigned
    // numbers.
    static const std::string nobody = "nobody";
    static const std::string none;
    if (uid == -1 || uid == -2 || uid == 2147483647 || uid == 4294967294)
        return nobody;
    if (const auto cached = userNameCache_.find(uid); cached != userNameCache_.end())
        return cached->second;
    if (uid < 0 || uid > std::numeric_limits<std::uint32_t>::max())
        return none;
    return userNameCache_.emplace(uid, accountName_(static_cast<std::uint32_t>(uid))).first->second;
}

const Picture& LogTables::imageActionDirection(std::string_view action,
                                               std::string_view direction) const {
    if (action == "block")
        return direction == "out" ? blockedUp_ : blockedDown_;
    return direction == "out" ? passedUp_ : passedDown_;
}

} // namespace brindle
