// SPDX-License-Identifier: BSD-2-Clause
#include "platform/defaults/FileReplacement.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace brindle::platform {
namespace {

/// A descriptor that is closed when it goes out of scope.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }
    bool isOpen() const { return number_ >= 0; }

  private:
    int number_;
};

std::error_code lastError() {
    return {errno, std::generic_category()};
}

bool writeAll(int descriptor, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

} // namespace

tl::expected<std::string, std::error_code> readWholeFile(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isOpen())
        return tl::unexpected(lastError());
    std::string bytes;
    char block[65536];
    for (;;) {
        const ssize_t count = read(file.get(), block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return tl::unexpected(lastError());
        if (count == 0)
            return bytes;
        bytes.append(block, static_cast<std::size_t>(count));
    }
}

tl::expected<void, std::string> replaceFile(const std::string& path, const std::string& bytes) {
    std::string temporary = path + ".XXXXXX";
    const Descriptor file(mkostemp(temporary.data(), O_CLOEXEC)); // readable by its owner alone
    if (!file.isOpen())
        return tl::unexpected(path + ": " + lastError().message());
    // The rename must not reach the disk before what it names does.
    if (!writeAll(file.get(), bytes) || fsync(file.get()) != 0 ||
        rename(temporary.c_str(), path.c_str()) != 0) {
        const std::error_code why = lastError();
        unlink(temporary.c_str());
        return tl::unexpected(path + ": " + why.message());
    }
    auto folder = std::filesystem::path(path).parent_path();
    if (folder.empty())
        folder = ".";
    const Descriptor directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen())
        fsync(directory.get()); // some file systems refuse; the file stands all the same
    return {};
}

FileLock::FileLock(const std::string& path, Patience patience)
    : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
    if (descriptor_ < 0)
        return;
    using Clock = std::chrono::steady_clock;
    // A bounded wait: a program that was stopped while it held the lock must not stop this one.
    const auto end =
        Clock::now() + std::chrono::milliseconds(patience == Patience::brief ? 50 : 2000);
    while (!(held_ = flock(descriptor_, LOCK_EX | LOCK_NB) == 0) && Clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

FileLock::~FileLock() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

} // namespace brindle::platform
