// SPDX-License-Identifier: BSD-2-Clause
//
// What the tests of the nation look-up share: pictures that tell how they were made, and a database
// file in a folder of its own. For test programs only.
#pragma once

#include "core/geo/NationsDatabase.h"
#include "core/log/records/ImageEffects.h"
#include "platform/plist/PropertyList.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace brindle {

/// A picture made from another is a named one whose name says how; counts how often each was made.
struct TellingPictures final : ImageEffects {
    std::set<std::string> names{"terra", "it", "fr"};
    mutable std::map<std::string, int> made;

    Picture load(std::string_view) const override { return {}; }
    PictureSize size(const Picture& picture) const override {
        const auto* content = picture.content();
        const bool known = content && (content->name.find(' ') != content->name.npos ||
                                       names.contains(content->name));
        return known ? PictureSize{64, 48} : PictureSize{};
    }
    Picture roundImage(const Picture& source, double width, double height) const override {
        return make("oval", source, width, height);
    }
    Picture resizedImage(const Picture& source, double width, double height) const override {
        return make("scaled", source, width, height);
    }

  private:
    Picture make(const std::string& how, const Picture& source, double width, double height) const {
        if (size(source) == PictureSize{} || width == 0 || height == 0)
            return {};
        const std::string name = how + " " + std::to_string(static_cast<int>(width)) + "x" +
                                 std::to_string(static_cast<int>(height)) + " " +
                                 source.content()->name;
        ++made[name];
        return Picture::named(name);
    }
};

inline std::string pictureName(const Picture& picture) {
    return picture.content() ? picture.content()->name : "";
}

/// Blocks by nation key, in this order.
using Nations = std::vector<std::pair<std::string, std::vector<std::string>>>;

class DatabaseFile {
  public:
    DatabaseFile() {
        char pattern[] = "/tmp/brindle-geo-XXXXXX";
        folder_ = mkdtemp(pattern);
    }
    ~DatabaseFile() { std::filesystem::remove_all(folder_); }
    DatabaseFile(const DatabaseFile&) = delete;
    DatabaseFile& operator=(const DatabaseFile&) = delete;

    std::string path() const { return folder_ / "worldCIDR.plist"; }
    std::string folder() const { return folder_; }
    void write(const std::string& bytes) const { std::ofstream(path()) << bytes; }
    void write(const Nations& nations) const {
        platform::PropertyList list;
        for (const auto& [key, blocks] : nations) {
            platform::PropertyList::Array texts(blocks.begin(), blocks.end());
            list.set(key, std::move(texts));
        }
        write(platform::propertyListXml(list));
    }

  private:
    std::filesystem::path folder_;
};

} // namespace brindle
