// SPDX-License-Identifier: BSD-2-Clause
//
// Reads the application's table of service names by port number: the property list "ports" among
// its resources, one name a port for all protocols. Called once, at start-up.
//
//     if (auto names = loadPortNames(resourceBytes))
//         tables.portNames = PortNames(std::move(*names));     // a failure leaves it empty
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

#include <tl/expected.hpp>

namespace brindle {

/// Port number text, as the log writes it ("443"), to service name ("https"). `propertyList`: XML
/// or binary. A list that is no dictionary of texts gives no names; bytes that cannot be parsed,
/// those of a missing resource included, are an error of one line.
tl::expected<std::unordered_map<std::string, std::string>, std::string>
loadPortNames(std::string_view propertyList);

} // namespace brindle
