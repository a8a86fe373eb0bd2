// SPDX-License-Identifier: BSD-2-Clause
//
// Reader connections that are not in use. Any thread may borrow one; when none is free, another is
// opened, and a few are kept for the next call.
#pragma once

#include "tallyd/store/ReaderConnection.h"
#include "tallyd/store/ReaderGate.h"

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <tl/expected.hpp>

namespace brindle::tallyd {

class ReaderPool {
  public:
    ReaderPool(std::string path, std::shared_ptr<ReaderGate> gate)
        : path_(std::move(path)), gate_(std::move(gate)) {}

    /// Runs `work(ReaderConnection&)` on a borrowed connection and gives its result, or one line. A
    /// connection on which something failed is closed instead of kept.
    template <typename Work>
    auto use(Work&& work)
        -> tl::expected<decltype(work(std::declval<ReaderConnection&>())), std::string> {
        gate_->pass();
        try {
            std::unique_ptr<ReaderConnection> connection = take();
            auto result = work(*connection);
            giveBack(std::move(connection));
            return result;
        } catch (const sqlite::Error& error) {
            return tl::unexpected(fmt::format("cannot read the store: {}", error.what()));
        }
    }

  private:
    static constexpr std::size_t kKept = 8;

    std::unique_ptr<ReaderConnection> take() {
        {
            const std::lock_guard lock(mutex_);
            if (!free_.empty()) {
                auto connection = std::move(free_.back());
                free_.pop_back();
                return connection;
            }
        }
        return std::make_unique<ReaderConnection>(path_);
    }

    void giveBack(std::unique_ptr<ReaderConnection> connection) {
        const std::lock_guard lock(mutex_);
        if (free_.size() < kKept)
            free_.push_back(std::move(connection));
    }

    const std::string path_;
    const std::shared_ptr<ReaderGate> gate_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<ReaderConnection>> free_;
};

} // namespace brindle::tallyd
