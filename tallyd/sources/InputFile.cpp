// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/InputFile.h"

#include "tallyd/sources/CaptureInput.h"
#include "tallyd/sources/InputStream.h"
#include "tallyd/sources/LogTextInput.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace brindle::tallyd {

tl::expected<std::unique_ptr<InputFile>, std::string> openInput(const std::string& path,
                                                                ActionPatterns patterns) {
    auto stream = InputStream::open(path);
    if (!stream)
        return tl::unexpected(stream.error());
    constexpr std::size_t kEnoughToTell = 512;
    const std::string start = stream->peek(kEnoughToTell);
    if (start.empty() && std::ferror(stream->file()))
        return tl::unexpected(stream->name() + ": " + std::strerror(errno));
    if (CaptureInput::recognises(start))
        return CaptureInput::open(std::move(*stream), std::move(patterns));
    if (LogTextInput::recognises(start)) {
        const LineClock clock = clockFor(*stream);
        return std::make_unique<LogTextInput>(std::move(*stream), clock, std::move(patterns));
    }
    return tl::unexpected(stream->name() + ": neither a packet capture nor a packet filter's log");
}

} // namespace brindle::tallyd
