// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/InputFile.h"

#include "tallyd/sources/CaptureInput.h"
#include "tallyd/sources/InputStream.h"

namespace brindle::tallyd {

tl::expected<std::unique_ptr<InputFile>, std::string> openInput(const std::string& path) {
    auto stream = InputStream::open(path);
    if (!stream)
        return tl::unexpected(stream.error());
    if (CaptureInput::recognises(stream->peek(4)))
        return CaptureInput::open(std::move(*stream));
    return tl::unexpected(path + ": neither a packet capture nor a packet filter's log");
}

} // namespace brindle::tallyd
