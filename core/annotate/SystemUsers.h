// SPDX-License-Identifier: BSD-2-Clause
//
// Builds `systemUserList`: the machine's local users with name, id, pictures and administrator
// flag. Used once by start-up, before the first row; reads small files and waits for no service, so
// that it may run on any thread while something else goes on.
//
//     tables.systemUserList = VDXSystemUserDB(VDXSystemUsers(), effects).build();
#pragma once

#include "core/log/records/ImageEffects.h"
#include "core/log/records/SystemUser.h"
#include "platform/identity/LocalAccounts.h"

#include <vector>

namespace brindle {

/// The machine's identities.
class VDXSystemUsers {
  public:
    explicit VDXSystemUsers(platform::IdentityPaths paths = {}) : paths_(std::move(paths)) {}

    /// The accounts of people, in the system's order.
    std::vector<platform::LocalAccount> systemUsers() const {
        return platform::localAccounts(paths_);
    }
    const platform::IdentityPaths& paths() const { return paths_; }

  private:
    platform::IdentityPaths paths_;
};

class VDXSystemUserDB {
  public:
    /// Both outlive the build.
    VDXSystemUserDB(const VDXSystemUsers& users, const ImageEffects& effects)
        : users_(users), effects_(effects) {}

    /// One entry for each identity that has a picture, in their order.
    std::vector<VDXSystemUser> build() const;

  private:
    Picture picture(const platform::LocalAccount& identity) const;

    const VDXSystemUsers& users_;
    const ImageEffects& effects_;
};

} // namespace brindle
