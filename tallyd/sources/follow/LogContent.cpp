// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/sources/follow/FollowedContent.h"

#include <utility>

namespace brindle::tallyd {

namespace {

class LogContent final : public FollowedContent {
  public:
    LogContent(LineKind kind, ActionPatterns patterns, MakeLineClock makeClock)
        : decoder_(makeLineDecoder(kind, std::move(patterns))), makeClock_(std::move(makeClock)) {}

    std::unique_ptr<Framing> framing() const override { return std::make_unique<LineFraming>(); }

    tl::expected<FollowedRecords, std::string> decode(const FollowedText& found,
                                                      const FileFollower&) override {
        FollowedRecords made;
        const LineClock clock = makeClock_(found.changedMicros);
        for (std::string_view rest = found.text; !rest.empty();) {
            const std::size_t end = rest.find('\n');
            auto record = decoder_->decode(rest.substr(0, end), clock);
            rest.remove_prefix(end + 1);
            if (!record)
                continue;
            if (*record)
                made.records.push_back(std::move(**record));
            else
                ++made.undecoded[record->error()];
        }
        return made;
    }

  private:
    const std::unique_ptr<LineDecoder> decoder_;
    const MakeLineClock makeClock_;
};

} // namespace

std::unique_ptr<FollowedContent> logContent(LineKind kind, ActionPatterns patterns,
                                            MakeLineClock makeClock) {
    return std::make_unique<LogContent>(kind, std::move(patterns), std::move(makeClock));
}

} // namespace brindle::tallyd
