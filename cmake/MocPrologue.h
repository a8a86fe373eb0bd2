// SPDX-License-Identifier: BSD-2-Clause
//
// Read by moc before every header: Qt 6.4's moc cannot parse a standard header such as <concepts>
// unless one that brings the library's own configuration stands before it.
#include <cstddef>
