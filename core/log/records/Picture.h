// SPDX-License-Identifier: BSD-2-Clause
//
// A picture as the parts below the windows handle it: a small shared handle to a named resource or
// to pixels. What draws it, or makes one from another, lives with the windows. A value; any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace brindle {

class Picture {
  public:
    /// The empty image.
    Picture() = default;
    /// A picture of the application's resources, by its name ("blockedup").
    static Picture named(std::string name) {
        return Picture(std::make_shared<const Content>(Content{std::move(name), 0, 0, {}}));
    }
    /// `argb`: width * height pixels, premultiplied, row by row from the top.
    static Picture fromPixels(int width, int height, std::vector<std::uint32_t> argb) {
        return Picture(
            std::make_shared<const Content>(Content{{}, width, height, std::move(argb)}));
    }

    struct Content {
        std::string name; ///< empty for pixels
        int width = 0;
        int height = 0;
        std::vector<std::uint32_t> argb;
    };

    bool isEmpty() const { return content_ == nullptr; }
    /// Null for the empty image. The address is the same for every copy of a handle.
    const Content* content() const { return content_.get(); }

    /// The same picture, not merely an equal one.
    friend bool operator==(const Picture&, const Picture&) = default;

  private:
    explicit Picture(std::shared_ptr<const Content> content) : content_(std::move(content)) {}
    std::shared_ptr<const Content> content_;
};

} // namespace brindle
