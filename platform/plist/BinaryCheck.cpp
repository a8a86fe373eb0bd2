// SPDX-License-Identifier: BSD-2-Clause
#include "platform/plist/BinaryCheck.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace brindle::platform {
namespace {

constexpr std::size_t kTrailerBytes = 32;

// Objects may be referred to any number of times, and the library makes a copy each time: a few
// bytes could become gigabytes. What a list takes in memory is held against its size. Without
// copies it is some 130 bytes for each reference of one to four bytes.
constexpr std::uint64_t kValueMemory = 128;
constexpr std::uint64_t kMemoryPerByte = 256;
constexpr std::uint64_t kMemoryOfAnyList = std::uint64_t{16} << 20;

// Kinds of objects: the upper half of the byte that an object starts with.
constexpr unsigned kData = 0x4;
constexpr unsigned kAscii = 0x5;
constexpr unsigned kUtf16 = 0x6;
constexpr unsigned kArray = 0xA;
constexpr unsigned kSet = 0xC;
constexpr unsigned kDictionary = 0xD;

/// The object table of a list. Everything that does not fit into the bytes is nothing: the library
/// refuses such lists.
class Objects {
  public:
    static std::optional<Objects> of(std::string_view bytes) {
        if (bytes.size() < kTrailerBytes)
            return std::nullopt;
        Objects objects(bytes);
        const std::size_t trailer = bytes.size() - kTrailerBytes;
        objects.offsetBytes_ = objects.byte(trailer + 6);
        objects.referenceBytes_ = objects.byte(trailer + 7);
        const auto count = objects.number(trailer + 8, 8);
        const auto root = objects.number(trailer + 16, 8);
        const auto table = objects.number(trailer + 24, 8);
        if (!count || !root || !table || objects.offsetBytes_ < 1 || objects.offsetBytes_ > 8 ||
            objects.referenceBytes_ < 1 || objects.referenceBytes_ > 8 || *count > bytes.size())
            return std::nullopt;
        objects.count_ = *count;
        objects.root_ = *root;
        objects.table_ = *table;
        return objects;
    }

    struct Object {
        unsigned kind = 0;
        std::uint64_t size = 0;    ///< elements, pairs or characters
        std::uint64_t content = 0; ///< where they begin

        std::uint64_t references() const {
            return kind == kDictionary ? size * 2 : kind == kArray || kind == kSet ? size : 0;
        }
        /// What the library takes for it, without what it refers to.
        std::uint64_t memory() const {
            constexpr std::uint64_t kEnough = std::uint64_t{1} << 40; // bounds the sums
            const std::uint64_t bytes = kind == kData || kind == kAscii ? size
                                        : kind == kUtf16 ? std::min(size, kEnough) * 3
                                                         : 0;
            return kValueMemory + std::min(bytes, kEnough);
        }
    };

    std::uint64_t count() const { return count_; }
    std::uint64_t root() const { return root_; }

    std::optional<Object> at(std::uint64_t index) const {
        if (index >= count_)
            return std::nullopt;
        const auto offset = number(table_ + index * offsetBytes_, offsetBytes_);
        if (!offset || *offset >= bytes_.size())
            return std::nullopt;
        const unsigned marker = byte(*offset);
        Object object{marker >> 4, marker & 0xF, *offset + 1};
        if (object.size == 0xF) { // the size stands in an integer object of its own
            if (object.content >= bytes_.size())
                return std::nullopt;
            const std::uint64_t width = std::uint64_t{1} << (byte(object.content) & 0x3);
            const auto size = number(object.content + 1, width);
            if (!size)
                return std::nullopt;
            object.size = *size;
            object.content += 1 + width;
        }
        return object;
    }
    std::optional<std::uint64_t> reference(const Object& object, std::uint64_t place) const {
        if (place > bytes_.size())
            return std::nullopt;
        return number(object.content + place * referenceBytes_, referenceBytes_);
    }
    /// False for anything but a text.
    bool holdsNul(const Object& text) const {
        if (text.kind != kAscii && text.kind != kUtf16)
            return false;
        const std::uint64_t width = text.kind == kUtf16 ? 2 : 1;
        for (std::uint64_t i = 0; i < text.size; ++i) {
            const auto unit = number(text.content + i * width, width);
            if (!unit)
                return false;
            if (*unit == 0)
                return true;
        }
        return false;
    }

  private:
    explicit Objects(std::string_view bytes) : bytes_(bytes) {}

    unsigned byte(std::uint64_t place) const {
        return static_cast<unsigned char>(bytes_[static_cast<std::size_t>(place)]);
    }
    /// Big-endian.
    std::optional<std::uint64_t> number(std::uint64_t place, std::uint64_t width) const {
        if (place > bytes_.size() || width > bytes_.size() - place)
            return std::nullopt;
        std::uint64_t value = 0;
        for (std::uint64_t i = 0; i < width; ++i)
            value = value << 8 | byte(place + i);
        return value;
    }

    std::string_view bytes_;
    std::uint64_t offsetBytes_ = 0;
    std::uint64_t referenceBytes_ = 0;
    std::uint64_t count_ = 0;
    std::uint64_t root_ = 0;
    std::uint64_t table_ = 0;
};

} // namespace

std::optional<std::string_view> binaryListFault(std::string_view bytes, std::size_t maxDepth) {
    const auto objects = Objects::of(bytes);
    if (!objects)
        return std::nullopt;
    /// A container whose content is being gone through, or was.
    struct Container {
        std::uint64_t index = 0;
        std::uint64_t next = 0; ///< the next of its references to go to
        std::size_t height = 1; ///< containers from here down
        std::uint64_t memory = kValueMemory;
    };
    const std::uint64_t mostMemory = kMemoryOfAnyList + bytes.size() * kMemoryPerByte;
    std::unordered_map<std::uint64_t, Container> finished;
    std::vector<Container> path{{.index = objects->root()}};
    while (!path.empty()) {
        Container& container = path.back();
        const auto object = objects->at(container.index);
        const std::uint64_t references = object ? object->references() : 0;
        if (container.next >= references) {
            const Container ended = container;
            finished.emplace(ended.index, ended);
            path.pop_back();
            if (!path.empty()) {
                path.back().height = std::max(path.back().height, ended.height + 1);
                path.back().memory += ended.memory;
                if (path.back().memory > mostMemory)
                    return "is too large";
            }
            continue;
        }
        const std::uint64_t place = container.next++;
        const auto index = objects->reference(*object, place);
        const auto child = index ? objects->at(*index) : std::nullopt;
        if (!child) { // beyond the bytes: the library refuses the list
            container.next = references;
            continue;
        }
        if (object->kind == kDictionary && place < object->size && objects->holdsNul(*child))
            return "a key holds a NUL character";
        const bool isContainer = child->references() > 0;
        const auto known = isContainer ? finished.find(*index) : finished.end();
        if (!isContainer)
            container.memory += child->memory();
        else if (known != finished.end())
            container.memory += known->second.memory;
        if (container.memory > mostMemory)
            return "is too large";
        if (!isContainer)
            continue;
        if (known != finished.end()) {
            container.height = std::max(container.height, known->second.height + 1);
            if (path.size() + known->second.height > maxDepth)
                return "is nested too deeply";
            continue;
        }
        // A cycle ends here as well.
        if (path.size() >= maxDepth)
            return "is nested too deeply";
        path.push_back({.index = *index});
    }
    return std::nullopt;
}

} // namespace brindle::platform
