// SPDX-License-Identifier: BSD-2-Clause
//
// The process-wide tables that rows are annotated from: local users, account names by uid, service
// names by port, and the pictures of action and direction. Owned by the composition root, filled at
// start-up, used on the main thread only. Rows keep pointers into it: it outlives them.
#pragma once

#include "core/log/records/Picture.h"
#include "core/log/records/SystemUser.h"

#include <bitset>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace brindle {

/// The user of a row. Shared by every row of that uid.
struct LogUser {
    std::string name;
    Picture icon;
};

/// Service names by port number text: "443" to "https".
class PortNames {
  public:
    PortNames() = default;
    explicit PortNames(std::unordered_map<std::string, std::string> names);
    /// Empty where there is none.
    const std::string& name(std::string_view port) const;
    bool empty() const { return names_.empty(); }
    std::size_t size() const { return names_.size(); }

  private:
    std::unordered_map<std::string, std::string> names_;
    std::bitset<65536> named_; ///< by a number of the port's text: most ports have no name
};

class LogTables {
  public:
    /// `accountName`: login name by uid from the password database, empty when there is none.
    explicit LogTables(std::function<std::string(std::uint32_t)> accountName);

    /// Both are set once, before the first row is built.
    std::vector<VDXSystemUser> systemUserList;
    PortNames portNames;

    /// The user a row shows for a uid: a local user of that id, else the account's name with the
    /// generic picture "NSUser". The reference stays valid for the life of the tables.
    const LogUser& userForUid(std::int64_t uid);
    /// A row without a readable uid: no name, no picture.
    const LogUser& noUser() const { return noUser_; }

    /// "nobody" for the ids that mean it, the account's name, or the empty text. Answers, the empty
    /// one included, are kept.
    const std::string& nameByUid(std::int64_t uid);

    /// "blockedup", "blockeddown", "passedup" or "passeddown".
    const Picture& imageActionDirection(std::string_view action, std::string_view direction) const;

  private:
    std::function<std::string(std::uint32_t)> accountName_;
    std::unordered_map<std::int64_t, std::string> userNameCache_;
    std::unordered_map<std::int64_t, LogUser> users_;
    LogUser noUser_;
    Picture genericUser_;
    Picture blockedUp_, blockedDown_, passedUp_, passedDown_;
};

} // namespace brindle
