// SPDX-License-Identifier: BSD-2-Clause
//
// What the targets share: the function that the fuzzer calls, and an input as a file for readers
// that take a path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace brindle::test {

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// What must hold whatever comes in.
inline void require(bool holds) {
    if (!holds)
        std::abort();
}

/// A file in memory; gone with the object.
class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* data, std::size_t size)
        : descriptor_(::memfd_create("input", MFD_CLOEXEC)) {
        append(data, size);
    }
    ~MemoryFile() { ::close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void append(const std::uint8_t* data, std::size_t size) {
        require(::write(descriptor_, data, size) == static_cast<ssize_t>(size));
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    const int descriptor_;
};

} // namespace brindle::test
