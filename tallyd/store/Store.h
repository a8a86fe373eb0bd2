// SPDX-License-Identifier: BSD-2-Clause
//
// The file that holds the records. `Store::open` makes sure that it is ours and up to date, or
// makes it; then it hands out the one writer and the reader, which own their connections. Made by
// tallyd's main.
//
//     auto store = Store::open("/var/lib/tallyd/store.db");
//     auto writer = store->writer(StoreUse::live);
//     auto reader = store->reader();
#pragma once

#include "tallyd/store/StoreReader.h"
#include "tallyd/store/StoreWriter.h"

#include <memory>
#include <string>

#include <tl/expected.hpp>

namespace brindle::tallyd {

class Store {
  public:
    /// Makes the store when `path` does not exist or is an empty file, readable for its owner and
    /// group. A file that is not ours, is damaged or was made by a newer program is an error, and
    /// is not written to.
    static tl::expected<Store, std::string> open(const std::string& path);

    /// Errors name the file.
    tl::expected<std::unique_ptr<StoreWriter>, std::string> writer(StoreUse use) const;
    tl::expected<std::unique_ptr<StoreReader>, std::string> reader() const;

    const std::string& path() const { return path_; }

  private:
    explicit Store(std::string path)
        : path_(std::move(path)), gate_(std::make_shared<ReaderGate>()) {}

    std::string path_;
    std::shared_ptr<ReaderGate> gate_; ///< of its writer and its readers
};

} // namespace brindle::tallyd
