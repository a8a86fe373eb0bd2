// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/InputStream.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace brindle::tallyd {

namespace {
constexpr std::size_t kBufferSize = 256 * 1024;
}

InputStream::InputStream(std::FILE* file, std::string name) : file_(file), name_(std::move(name)) {
    // Standard input stays open when this is gone, and so keeps its own buffer.
    if (file == stdin)
        return;
    buffer_ = std::make_unique<std::vector<char>>(kBufferSize);
    std::setvbuf(file, buffer_->data(), _IOFBF, buffer_->size());
}

tl::expected<InputStream, std::string> InputStream::open(const std::string& path) {
    if (path == "-")
        return InputStream(stdin, "standard input");
    std::FILE* file = std::fopen(path.c_str(), "rbe");
    if (!file)
        return tl::unexpected(path + ": " + std::strerror(errno));
    InputStream stream(file, path);
    struct stat status {};
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode))
        return tl::unexpected(path + ": " + std::strerror(EISDIR));
    return stream;
}

std::string InputStream::peek(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
        const int byte = std::getc(file_.get());
        if (byte == EOF)
            break;
        bytes += static_cast<char>(byte);
    }
    // Pushing back what was just read only moves the buffer's read position.
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte)
        std::ungetc(static_cast<unsigned char>(*byte), file_.get());
    return bytes;
}

} // namespace brindle::tallyd
