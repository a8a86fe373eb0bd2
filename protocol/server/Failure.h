// SPDX-License-Identifier: BSD-2-Clause
//
// How a request fails: the text becomes the error of the peer's request.
#pragma once

#include <string>

#include <kj/exception.h>

namespace brindle::server {

inline kj::Exception failure(const std::string& text) {
    return kj::Exception(kj::Exception::Type::FAILED, "tallyd", 0, kj::heapString(text.c_str()));
}

} // namespace brindle::server
