// SPDX-License-Identifier: BSD-2-Clause
#include "tests/tallyd/store/FaultyDisk.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

namespace brindle::tallyd {

struct FaultyDisk::Handle : sqlite3_file {
    FaultyDisk* disk = nullptr;
    File* file = nullptr; ///< nothing: not on this disk
    std::uint64_t chunk = 0;

    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
    static Handle& of(sqlite3_file* file) { return *static_cast<Handle*>(file); }
};

FaultyDisk::FaultyDisk(std::string folder) : folder_(std::move(folder)) {
    sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
    static_cast<sqlite3_vfs&>(vfs_) = *real;
    vfs_.disk = this;
    vfs_.real = real;
    vfs_.zName = "faulty";
    vfs_.pNext = nullptr;
    vfs_.szOsFile = static_cast<int>(sizeof(Handle)) + real->szOsFile;
    vfs_.xOpen = open;
    vfs_.xDelete = remove;
    sqlite3_vfs_register(&vfs_, 1);
}

FaultyDisk::~FaultyDisk() {
    sqlite3_vfs_unregister(&vfs_);
    sqlite3_vfs_register(vfs_.real, 1);
}

void FaultyDisk::apply(std::string& contents, const Write& write, std::size_t length) {
    if (write.resize) {
        contents.resize(write.offset);
        return;
    }
    contents.resize(std::max<std::size_t>(contents.size(), write.offset + length));
    contents.replace(write.offset, length, write.bytes, 0, length);
}

FaultyDisk::Image FaultyDisk::afterPowerCut(Cut cut, std::mt19937& random) {
    const std::lock_guard lock(mutex_);
    std::vector<std::uint64_t> orders;
    for (const auto& [path, file] : files_)
        for (const Write& write : file->unsynced)
            orders.push_back(write.order);
    std::ranges::sort(orders);
    const std::uint64_t torn = orders.empty() ? 0 : orders[random() % orders.size()];
    Image image;
    for (const auto& [path, file] : files_) {
        std::string contents = file->synced;
        for (const Write& write : file->unsynced) {
            if (cut == Cut::keptSome ? random() % 2 == 0
                                     : cut == Cut::keptBeginning && write.order < torn)
                apply(contents, write, write.bytes.size());
            else if (cut == Cut::keptBeginning && write.order == torn && !write.bytes.empty())
                apply(contents, write, random() % write.bytes.size());
        }
        image.emplace(path, std::move(contents));
    }
    return image;
}

void FaultyDisk::setRoom(std::uint64_t bytes) {
    const std::lock_guard lock(mutex_);
    room_ = bytes;
}

std::uint64_t FaultyDisk::used() {
    const std::lock_guard lock(mutex_);
    std::uint64_t sum = 0;
    for (const auto& [path, file] : files_)
        sum += file->size;
    return sum;
}

FaultyDisk::File* FaultyDisk::fileAt(const char* name) {
    if (!name || !std::string_view(name).starts_with(folder_))
        return nullptr;
    const std::lock_guard lock(mutex_);
    auto& file = files_[name];
    if (!file) {
        file = std::make_unique<File>();
        std::ifstream present(name, std::ios::binary);
        file->synced.assign(std::istreambuf_iterator<char>(present), {});
        file->size = file->synced.size();
    }
    return file.get();
}

/// False when there is no room for a file of that size.
bool FaultyDisk::grow(File& file, std::uint64_t size) {
    if (size <= file.size)
        return true;
    if (used() - file.size + size > room_)
        return false;
    file.size = size;
    return true;
}

void FaultyDisk::wrote(File& file, Write write) {
    {
        const std::lock_guard lock(mutex_);
        write.order = ++order_;
        file.size =
            write.resize ? write.offset : std::max(file.size, write.offset + write.bytes.size());
        file.unsynced.push_back(std::move(write));
    }
    if (hook_)
        hook_();
}

void FaultyDisk::synced(File& file) {
    const std::lock_guard lock(mutex_);
    for (const Write& write : file.unsynced)
        apply(file.synced, write, write.bytes.size());
    file.unsynced.clear();
}

int FaultyDisk::open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* out) {
    const auto& self = *static_cast<Vfs*>(vfs);
    auto* const handle = new (file) Handle{};
    handle->disk = self.disk;
    handle->file = self.disk->fileAt(name);
    const int result = self.real->xOpen(self.real, name, handle->real(), flags, out);
    handle->pMethods = handle->real()->pMethods ? &methods() : nullptr;
    return result;
}

int FaultyDisk::remove(sqlite3_vfs* vfs, const char* name, int syncFolder) {
    const auto& self = *static_cast<Vfs*>(vfs);
    {
        const std::lock_guard lock(self.disk->mutex_);
        self.disk->files_.erase(name);
    }
    return self.real->xDelete(self.real, name, syncFolder);
}

const sqlite3_io_methods& FaultyDisk::methods() {
    static const sqlite3_io_methods methods = [] {
        sqlite3_io_methods own{};
        own.iVersion = 2;
        own.xClose = [](sqlite3_file* file) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xClose(real);
        };
        own.xRead = [](sqlite3_file* file, void* to, int length, sqlite3_int64 offset) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xRead(real, to, length, offset);
        };
        own.xWrite = [](sqlite3_file* file, const void* from, int length, sqlite3_int64 offset) {
            Handle& self = Handle::of(file);
            const auto place = static_cast<std::uint64_t>(offset);
            const auto bytes = static_cast<std::size_t>(length);
            if (self.file && !self.disk->grow(*self.file, place + bytes))
                return SQLITE_FULL;
            const int result = self.real()->pMethods->xWrite(self.real(), from, length, offset);
            if (self.file && result == SQLITE_OK)
                self.disk->wrote(*self.file, {.offset = place,
                                              .bytes = {static_cast<const char*>(from), bytes}});
            return result;
        };
        own.xTruncate = [](sqlite3_file* file, sqlite3_int64 size) {
            Handle& self = Handle::of(file);
            const int result = self.real()->pMethods->xTruncate(self.real(), size);
            sqlite3_int64 now = size;
            self.real()->pMethods->xFileSize(self.real(), &now);
            if (self.file && result == SQLITE_OK)
                self.disk->wrote(
                    *self.file,
                    {.offset = static_cast<std::uint64_t>(now), .bytes = {}, .resize = true});
            return result;
        };
        own.xSync = [](sqlite3_file* file, int flags) {
            Handle& self = Handle::of(file);
            if (self.file)
                self.disk->synced(*self.file);
            return self.file ? SQLITE_OK : self.real()->pMethods->xSync(self.real(), flags);
        };
        own.xFileSize = [](sqlite3_file* file, sqlite3_int64* size) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xFileSize(real, size);
        };
        own.xLock = [](sqlite3_file* file, int lock) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xLock(real, lock);
        };
        own.xUnlock = [](sqlite3_file* file, int lock) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xUnlock(real, lock);
        };
        own.xCheckReservedLock = [](sqlite3_file* file, int* held) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xCheckReservedLock(real, held);
        };
        own.xFileControl = [](sqlite3_file* file, int what, void* value) {
            Handle& self = Handle::of(file);
            auto* const real = self.real();
            if (what == SQLITE_FCNTL_CHUNK_SIZE)
                self.chunk = static_cast<std::uint64_t>(*static_cast<int*>(value));
            if (what != SQLITE_FCNTL_SIZE_HINT || !self.file || self.chunk == 0)
                return real->pMethods->xFileControl(real, what, value);
            const auto wanted = static_cast<std::uint64_t>(*static_cast<sqlite3_int64*>(value));
            if (!self.disk->grow(*self.file, (wanted + self.chunk - 1) / self.chunk * self.chunk))
                return SQLITE_FULL;
            const int result = real->pMethods->xFileControl(real, what, value);
            sqlite3_int64 now = 0;
            real->pMethods->xFileSize(real, &now);
            if (result == SQLITE_OK)
                self.disk->wrote(
                    *self.file,
                    {.offset = static_cast<std::uint64_t>(now), .bytes = {}, .resize = true});
            return result;
        };
        own.xSectorSize = [](sqlite3_file* file) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xSectorSize(real);
        };
        own.xDeviceCharacteristics = [](sqlite3_file* file) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xDeviceCharacteristics(real);
        };
        own.xShmMap = [](sqlite3_file* file, int region, int size, int extend,
                         void volatile** memory) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xShmMap(real, region, size, extend, memory);
        };
        own.xShmLock = [](sqlite3_file* file, int offset, int count, int flags) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xShmLock(real, offset, count, flags);
        };
        own.xShmBarrier = [](sqlite3_file* file) {
            auto* const real = Handle::of(file).real();
            real->pMethods->xShmBarrier(real);
        };
        own.xShmUnmap = [](sqlite3_file* file, int deleteIt) {
            auto* const real = Handle::of(file).real();
            return real->pMethods->xShmUnmap(real, deleteIt);
        };
        return own;
    }();
    return methods;
}

} // namespace brindle::tallyd
