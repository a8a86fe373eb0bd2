// SPDX-License-Identifier: BSD-2-Clause
#include "core/annotate/SystemUsers.h"

#include "platform/identity/AccountPictures.h"

namespace brindle {
namespace {

constexpr double kBigImage = 128;  ///< points
constexpr double kSmallImage = 16; ///< points

} // namespace

std::vector<VDXSystemUser> VDXSystemUserDB::build() const {
    const auto groups = platform::localGroups(users_.paths());
    const platform::LocalGroup* const administrators = platform::administratorsGroup(groups);

    std::vector<VDXSystemUser> systemUserList;
    for (const platform::LocalAccount& identity : users_.systemUsers()) {
        const Picture image = picture(identity);
        if (image.isEmpty())
            continue;
        VDXSystemUser user;
        user.posixID = identity.id.value_or(kUnknownPosixID);
        user.fullName = identity.fullName;
        user.posixName = identity.name;
        const PictureSize size = effects_.size(image);
        const Picture oval = effects_.roundImage(image, size.width, size.height);
        user.bigRoundImage = effects_.resizedImage(oval, kBigImage, kBigImage);
        user.smallRoundImage = effects_.resizedImage(user.bigRoundImage, kSmallImage, kSmallImage);
        user.isAdmin = administrators && platform::isMemberOfGroup(identity, *administrators);
        systemUserList.push_back(std::move(user));
    }
    return systemUserList;
}

Picture VDXSystemUserDB::picture(const platform::LocalAccount& identity) const {
    for (const auto& file : platform::accountPictureFiles(identity, users_.paths()))
        if (const auto bytes = platform::readPictureFile(file))
            if (Picture loaded = effects_.load(*bytes); !loaded.isEmpty())
                return loaded;
    return {};
}

} // namespace brindle
