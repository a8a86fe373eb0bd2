// SPDX-License-Identifier: BSD-2-Clause
//
// How a small file is read and replaced as a whole, and the lock that programs sharing it take
// while they change it. Waits for the disk: not for the main thread. Any thread.
#pragma once

#include <string>
#include <system_error>

#include <tl/expected.hpp>

namespace brindle::platform {

tl::expected<std::string, std::error_code> readWholeFile(const std::string& path);

/// Puts `bytes` in the file's place: a reader sees the old file or the new one, also after a power
/// cut. On return the new one is on the disk; after an error the old one stands. Readable by its
/// owner alone. The error is one line that names the file.
tl::expected<void, std::string> replaceFile(const std::string& path, const std::string& bytes);

/// An advisory lock held while the object lives, on a file of its own beside the one it guards
/// (which is replaced, so that a lock on it would guard nothing).
class FileLock {
  public:
    enum class Patience { brief, patient }; ///< wait up to 50 ms, up to 2 s

    FileLock(const std::string& path, Patience patience);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// False when another program kept the lock all the time, or the file cannot be made.
    bool isHeld() const { return held_; }

  private:
    int descriptor_ = -1;
    bool held_ = false;
};

} // namespace brindle::platform
