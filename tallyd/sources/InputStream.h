// SPDX-License-Identifier: BSD-2-Clause
//
// The open file under an input: a descriptor with a large buffer, and the name that messages call
// it by. Owned by the input that reads it; one thread.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class InputStream {
  public:
    /// `path` "-" is standard input. Error: one line naming the path and the reason.
    static tl::expected<InputStream, std::string> open(const std::string& path);

    std::FILE* file() const { return file_.get(); }
    /// The path, or "standard input".
    const std::string& name() const { return name_; }
    /// The first `count` bytes (fewer at the end of the input), which stay to be read.
    std::string peek(std::size_t count);
    /// For a library that closes the file itself; the stream goes on holding the buffer.
    void giveUpFile() { static_cast<void>(file_.release()); }

  private:
    struct Close {
        void operator()(std::FILE* file) const {
            if (file != stdin)
                std::fclose(file);
        }
    };

    InputStream(std::FILE* file, std::string name);

    // Closed before its buffer goes.
    std::unique_ptr<std::vector<char>> buffer_;
    std::unique_ptr<std::FILE, Close> file_;
    std::string name_;
};

} // namespace brindle::tallyd
