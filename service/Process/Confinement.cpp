#include "Confinement.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sched.h>
#include <seccomp.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace parlowen::service {

namespace {

namespace fs = std::filesystem;

constexpr rlim_t openFiles = 64;
constexpr std::uint64_t reading =
    LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;

void limit(__rlimit_resource resource, rlim_t most) {
    const rlimit both{most, most};
    if (::setrlimit(resource, &both) != 0)
        throw std::runtime_error("cannot limit a resource");
}

void limitResources(const Confinement& confinement) {
    limit(RLIMIT_CPU, static_cast<rlim_t>(confinement.cpuSeconds));
    limit(RLIMIT_FSIZE, 0);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_NOFILE, openFiles);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // which reserve more than any limit
    limit(RLIMIT_AS, confinement.memoryBytes);
#endif
}

/// Every right to files that this kernel can take away.
std::uint64_t knownRights(long version) {
    std::uint64_t rights = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1;
    if (version >= 2)
        rights |= std::uint64_t{1} << 13; // to link and rename between directories
    if (version >= 3)
        rights |= std::uint64_t{1} << 14; // to truncate
    return rights;
}

void allow(int rules, const fs::path& path) {
    const int place = ::open(path.c_str(), O_PATH | O_CLOEXEC);
    if (place < 0)
        return;
    std::error_code unknown;
    const bool isDirectory = fs::is_directory(path, unknown);
    landlock_path_beneath_attr rule{};
    rule.allowed_access = isDirectory ? reading : reading & ~std::uint64_t{LANDLOCK_ACCESS_FS_READ_DIR};
    rule.parent_fd = place;
    ::syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    ::close(place);
}

void limitFiles(const std::vector<fs::path>& readable) {
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return;
    landlock_ruleset_attr attributes{};
    attributes.handled_access_fs = knownRights(version);
    const auto rules = static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof(attributes), 0));
    if (rules < 0)
        return;
    for (const char* system :
         {"/usr", "/lib", "/lib64", "/bin", "/etc/ld.so.cache", "/etc/alternatives", "/dev/null", "/dev/urandom"})
        allow(rules, system);
    for (const fs::path& path : readable)
        allow(rules, path);
    ::syscall(SYS_landlock_restrict_self, rules, 0);
    ::close(rules);
}

void limitCalls() {
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    if (filter == nullptr)
        return;
    const int refused[] = {SCMP_SYS(socket),
                           SCMP_SYS(socketpair),
                           SCMP_SYS(connect),
                           SCMP_SYS(bind),
                           SCMP_SYS(listen),
                           SCMP_SYS(fork),
                           SCMP_SYS(vfork),
                           SCMP_SYS(setsid),
                           SCMP_SYS(setpgid),
                           SCMP_SYS(kill),
                           SCMP_SYS(ptrace),
                           SCMP_SYS(process_vm_readv),
                           SCMP_SYS(process_vm_writev),
                           SCMP_SYS(mount),
                           SCMP_SYS(umount2),
                           SCMP_SYS(unshare),
                           SCMP_SYS(setns),
                           SCMP_SYS(keyctl),
                           SCMP_SYS(add_key),
                           SCMP_SYS(request_key),
                           SCMP_SYS(bpf),
                           SCMP_SYS(perf_event_open),
                           SCMP_SYS(userfaultfd),
                           SCMP_SYS(io_uring_setup)};
    for (const int call : refused)
        seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), call, 0);
    // Threads are started, processes are not. What the newer call would start cannot be seen from here.
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0);
    seccomp_rule_add(filter, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(clone), 1, SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0));
    seccomp_load(filter);
    seccomp_release(filter);
}

} // namespace

void confine(const Confinement& confinement) {
#if defined(__SANITIZE_ADDRESS__)
    __lsan_do_leak_check(); // now instead of at the end, when the calls that it needs are refused
#endif
    limitResources(confinement);
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        throw std::runtime_error("cannot give up new privileges");
    limitFiles(confinement.readable);
    limitCalls();
}

} // namespace parlowen::service
