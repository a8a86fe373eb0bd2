// SPDX-License-Identifier: BSD-2-Clause
//
// A property list as a value: read from XML or binary bytes, written as XML. Dictionaries keep the
// order in which their entries were read or set. A value; copied, moved and read on any thread.
//
//     auto list = readPropertyList("/path/file.plist");
//     if (list) if (const auto* names = list->asDictionary()) ...
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::platform {

class PropertyList {
  public:
    struct Entry;
    using Dictionary = std::vector<Entry>;
    using Array = std::vector<PropertyList>;
    using Data = std::vector<std::uint8_t>;
    struct Date {
        double epoch = 0; ///< seconds since 1970-01-01 00:00 UTC; written in whole seconds
        friend bool operator==(const Date&, const Date&) = default;
    };

    /// An empty dictionary.
    PropertyList();
    PropertyList(Dictionary value);
    PropertyList(Array value);
    PropertyList(std::string value);
    PropertyList(const char* value);
    PropertyList(std::int64_t value);
    PropertyList(double value);
    PropertyList(bool value);
    PropertyList(Date value);
    PropertyList(Data value);
    // Where an entry, which holds a list itself, is complete.
    PropertyList(const PropertyList& other);
    PropertyList(PropertyList&& other) noexcept;
    PropertyList& operator=(const PropertyList& other);
    PropertyList& operator=(PropertyList&& other) noexcept;
    ~PropertyList();

    /// The value when it is of that type, else null.
    const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&value_); }
    const Array* asArray() const { return std::get_if<Array>(&value_); }
    const std::string* asString() const { return std::get_if<std::string>(&value_); }
    const std::int64_t* asInteger() const { return std::get_if<std::int64_t>(&value_); }
    const double* asReal() const { return std::get_if<double>(&value_); }
    const bool* asBoolean() const { return std::get_if<bool>(&value_); }
    const Date* asDate() const { return std::get_if<Date>(&value_); }
    const Data* asData() const { return std::get_if<Data>(&value_); }

    /// The value under `key`; null when this is no dictionary or has no such key.
    const PropertyList* find(std::string_view key) const;
    /// Replaces the value under `key`, or appends it. Anything but a dictionary becomes one.
    void set(std::string_view key, PropertyList value);

    friend bool operator==(const PropertyList&, const PropertyList&);

  private:
    std::variant<Dictionary, Array, std::string, std::int64_t, double, bool, Date, Data> value_;
};

struct PropertyList::Entry {
    std::string key;
    PropertyList value;
    friend bool operator==(const Entry&, const Entry&) = default;
};

/// XML or binary, found out from the bytes. The error is one line without the name of a file.
tl::expected<PropertyList, std::string> parsePropertyList(std::string_view bytes);

/// The whole file, parsed. The error is one line that names it.
tl::expected<PropertyList, std::string> readPropertyList(const std::string& path);

/// The XML form. Texts end at an embedded NUL, which XML cannot carry.
std::string propertyListXml(const PropertyList& list);

} // namespace brindle::platform
