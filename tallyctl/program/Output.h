// SPDX-License-Identifier: BSD-2-Clause
//
// Where results go: a descriptor that is written at once and whole. Used by one thread at a time.
#pragma once

#include <string>
#include <string_view>

namespace brindle::tallyctl {

enum class WriteResult {
    written,
    closed, ///< nobody reads any more: the end, but no failure
    failed
};

class Output {
  public:
    /// `descriptor` stays the caller's. The caller has SIGPIPE ignored.
    explicit Output(int descriptor) : descriptor_(descriptor) {}

    /// Waits for a slow reader. After the first `closed` or `failed` nothing more is written.
    WriteResult write(std::string_view text);
    /// The system's reason, after `failed`.
    const std::string& reason() const { return reason_; }

  private:
    int descriptor_;
    WriteResult state_ = WriteResult::written;
    std::string reason_;
};

} // namespace brindle::tallyctl
