// SPDX-License-Identifier: BSD-2-Clause
//
// A disk for the store's files, below SQLite, that forgets and that fills up: it knows what was
// written and not yet synced, and can tell what the files would hold if the power failed now. While
// it lives, every database that is opened lies on it. Tests only; any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

namespace brindle::tallyd {

class FaultyDisk {
  public:
    /// Only files of this folder are on it.
    explicit FaultyDisk(std::string folder);
    ~FaultyDisk();
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

    /// What the disk did with the writes that nobody waited for.
    enum class Cut {
        lostAll,
        keptSome,     ///< whichever it had got around to, in any order
        keptBeginning ///< up to one of which it only has a part
    };
    using Image = std::map<std::string, std::string>; ///< contents by path
    Image afterPowerCut(Cut cut, std::mt19937& random);

    /// Called after each write, in the middle of what SQLite does.
    void onWrite(std::function<void()> hook) { hook_ = std::move(hook); }

    /// All files together may take so many bytes.
    void setRoom(std::uint64_t bytes);
    std::uint64_t used();

  private:
    struct Write {
        std::uint64_t order = 0;
        std::uint64_t offset = 0;
        std::string bytes;
        bool resize = false; ///< to `offset` bytes
    };
    struct File {
        std::string synced;
        std::vector<Write> unsynced;
        std::uint64_t size = 0;
    };
    struct Vfs : sqlite3_vfs {
        FaultyDisk* disk = nullptr;
        sqlite3_vfs* real = nullptr;
    };
    struct Handle; ///< what SQLite has of an open file

    static void apply(std::string& contents, const Write& write, std::size_t length);
    static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out);
    static int remove(sqlite3_vfs* vfs, const char* name, int syncFolder);
    static const sqlite3_io_methods& methods();

    File* fileAt(const char* name);
    bool grow(File& file, std::uint64_t size);
    void wrote(File& file, Write write);
    void synced(File& file);

    const std::string folder_;
    std::mutex mutex_;
    std::map<std::string, std::unique_ptr<File>> files_;
    std::uint64_t order_ = 0;
    std::uint64_t room_ = std::numeric_limits<std::uint64_t>::max();
    std::function<void()> hook_;
    Vfs vfs_;
};

} // namespace brindle::tallyd
