// SPDX-License-Identifier: BSD-2-Clause
//
// Comparisons that Cap'n Proto's headers leave to the compiler and clang 16 does not make. Included
// in front of everything by the fuzz preset; below C++20, as in CMake's look at the compiler, they
// are there.
#pragma once

#if __cpp_impl_three_way_comparison

#include <kj/string.h>

namespace kj {

inline bool operator==(const char* a, const StringPtr& b) {
    return StringPtr(a).operator==(b);
}
inline bool operator!=(const char* a, const StringPtr& b) {
    return !StringPtr(a).operator==(b);
}

} // namespace kj

#endif
