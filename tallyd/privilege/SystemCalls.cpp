// SPDX-License-Identifier: BSD-2-Clause
#include "tallyd/privilege/SystemCalls.h"

#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/socket.h>

namespace brindle::tallyd {

namespace {

/// By name: what an architecture does not have is passed over.
constexpr const char* kAllowed[] = {
    // files: the store, followed logs, the journal, rotation, libraries that look users up
    "open",
    "openat",
    "close",
    "close_range",
    "read",
    "readv",
    "pread64",
    "preadv",
    "write",
    "writev",
    "pwrite64",
    "pwritev",
    "lseek",
    "_llseek",
    "stat",
    "stat64",
    "lstat",
    "lstat64",
    "fstat",
    "fstat64",
    "newfstatat",
    "fstatat64",
    "statx",
    "statfs",
    "statfs64",
    "fstatfs",
    "fstatfs64",
    "access",
    "faccessat",
    "faccessat2",
    "readlink",
    "readlinkat",
    "getcwd",
    "getdents",
    "getdents64",
    "fcntl",
    "fcntl64",
    "flock",
    "fsync",
    "fdatasync",
    "sync_file_range",
    "ftruncate",
    "ftruncate64",
    "fallocate",
    "fadvise64",
    "unlink",
    "unlinkat",
    "rename",
    "renameat",
    "renameat2",
    "mkdir",
    "mkdirat",
    "fchmod",
    "fchmodat",
    "chmod",
    "fchown",
    "utimensat",
    "umask",
    "dup",
    "dup2",
    "dup3",
    "ioctl",
    "name_to_handle_at",
    "inotify_init1",
    "inotify_add_watch",
    "inotify_rm_watch",
    // waiting
    "poll",
    "ppoll",
    "select",
    "_newselect",
    "pselect6",
    "epoll_create",
    "epoll_create1",
    "epoll_ctl",
    "epoll_wait",
    "epoll_pwait",
    "epoll_pwait2",
    "eventfd2",
    "pipe",
    "pipe2",
    "timerfd_create",
    "timerfd_settime",
    "signalfd4",
    "futex",
    "futex_time64",
    "nanosleep",
    "clock_nanosleep",
    "clock_nanosleep_time64",
    "clock_gettime",
    "clock_gettime64",
    "clock_getres",
    "gettimeofday",
    "time",
    "restart_syscall",
    "sched_yield",
    // sockets, once made
    "bind",
    "connect",
    "listen",
    "accept",
    "accept4",
    "getsockname",
    "getpeername",
    "getsockopt",
    "setsockopt",
    "sendto",
    "sendmsg",
    "sendmmsg",
    "recvfrom",
    "recvmsg",
    "recvmmsg",
    "shutdown",
    "socketpair",
    // memory and threads
    "brk",
    "munmap",
    "mremap",
    "madvise",
    "msync",
    "mlock",
    "munlock",
    "membarrier",
    "set_robust_list",
    "get_robust_list",
    "set_tid_address",
    "rseq",
    "sched_getaffinity",
    "sched_setaffinity",
    "sched_getparam",
    "sched_getscheduler",
    "getcpu",
    "exit",
    "exit_group",
    // signals, and who and where we are
    "rt_sigaction",
    "rt_sigprocmask",
    "rt_sigreturn",
    "rt_sigpending",
    "rt_sigtimedwait",
    "rt_sigtimedwait_time64",
    "rt_sigsuspend",
    "sigreturn",
    "sigaltstack",
    "tgkill",
    "getpid",
    "gettid",
    "getppid",
    "getuid",
    "geteuid",
    "getgid",
    "getegid",
    "getresuid",
    "getresgid",
    "getgroups",
    "getrandom",
    "getrlimit",
    "ugetrlimit",
    "getrusage",
    "sysinfo",
    "uname",
    "arch_prctl",
    "capget",
};

constexpr int kFamilies[] = {AF_UNIX, AF_NETLINK, AF_PACKET, AF_INET, AF_INET6};

constexpr unsigned long kNewNamespaces = CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS |
                                         CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;

/// Collects the rules; keeps the first error.
class Filter {
  public:
    Filter() : context_(::seccomp_init(SCMP_ACT_ERRNO(EPERM)), ::seccomp_release) {
        if (!context_)
            error_ = -ENOMEM;
    }

    void allow(const char* name) { rule(SCMP_ACT_ALLOW, name, nullptr); }
    void allowWhen(const char* name, scmp_arg_cmp condition) {
        rule(SCMP_ACT_ALLOW, name, &condition);
    }
    /// The C library takes another way then.
    void denyAsUnknown(const char* name) { rule(SCMP_ACT_ERRNO(ENOSYS), name, nullptr); }

    /// 0 or the negative error.
    int load() {
        if (error_ == 0)
            error_ = ::seccomp_load(context_.get());
        return error_;
    }

  private:
    void rule(std::uint32_t action, const char* name, const scmp_arg_cmp* condition) {
        const int call = ::seccomp_syscall_resolve_name(name);
        if (error_ != 0 || call == __NR_SCMP_ERROR || call < 0)
            return;
        error_ =
            ::seccomp_rule_add_array(context_.get(), action, call, condition ? 1 : 0, condition);
    }

    std::unique_ptr<void, void (*)(scmp_filter_ctx)> context_;
    int error_ = 0;
};

} // namespace

tl::expected<void, std::string> restrictSystemCalls() {
    Filter filter;
    for (const char* name : kAllowed)
        filter.allow(name);
    for (const int family : kFamilies)
        filter.allowWhen("socket", SCMP_A0(SCMP_CMP_EQ, static_cast<scmp_datum_t>(family)));
    // Code is mapped from libraries, never written.
    for (const char* name : {"mmap", "mmap2", "mprotect"}) {
        filter.allowWhen(name, SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0));
        filter.allowWhen(name, SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_WRITE, 0));
    }
    filter.allowWhen("clone", SCMP_A0(SCMP_CMP_MASKED_EQ, kNewNamespaces, 0));
    // Its flags lie in memory, where a filter cannot look.
    filter.denyAsUnknown("clone3");
    filter.allowWhen("prlimit64", SCMP_A0(SCMP_CMP_EQ, 0)); // our own limits
    filter.allow("prctl");                                  // names of threads
    if (const int error = filter.load(); error != 0)
        return tl::unexpected(fmt::format("cannot restrict system calls: {}",
                                          std::generic_category().message(-error)));
    return {};
}

} // namespace brindle::tallyd
