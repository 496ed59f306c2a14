// confined COMMAND...: runs it as in a container with Docker's default rules: its seccomp filter
// refuses what namespaces and mounts are made with, and root has the rights that it has there.

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace {

// With EPERM. Those that this architecture or kernel lacks are not there to be refused.
const unsigned int REFUSED[] = {
    SYS_unshare,         SYS_setns,         SYS_mount,         SYS_umount2,
    SYS_pivot_root,      SYS_open_tree,     SYS_move_mount,    SYS_fsopen,
    SYS_fsconfig,        SYS_fsmount,       SYS_fspick,        SYS_bpf,
    SYS_keyctl,          SYS_add_key,       SYS_request_key,   SYS_open_by_handle_at,
    SYS_perf_event_open, SYS_fanotify_init, SYS_quotactl,      SYS_syslog,
    SYS_swapon,          SYS_swapoff,       SYS_reboot,        SYS_sethostname,
    SYS_setdomainname,   SYS_init_module,   SYS_delete_module, SYS_acct,
    SYS_kexec_load,      SYS_userfaultfd,
};

constexpr unsigned int NAMESPACES = CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC |
                                    CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;

constexpr std::uint32_t refusal(unsigned int error)
{
    return SECCOMP_RET_ERRNO | error;
}

std::vector<sock_filter> filter()
{
    const auto load = [](std::size_t place) -> sock_filter {
        return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(place));
    };
    const auto answer = [](std::uint32_t result) -> sock_filter {
        return BPF_STMT(BPF_RET | BPF_K, result);
    };
    std::vector<sock_filter> program{load(offsetof(seccomp_data, nr))};
    for (const unsigned int call : REFUSED) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
        program.push_back(answer(refusal(EPERM)));
    }
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 0, 1));
    program.push_back(answer(refusal(ENOSYS))); // its flags are in memory, where no filter looks
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 3));
    program.push_back(load(offsetof(seccomp_data, args)));
    program.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, NAMESPACES, 0, 1));
    program.push_back(answer(refusal(EPERM)));
    program.push_back(answer(SECCOMP_RET_ALLOW));
    return program;
}

/// So that root has them in no program any more.
void dropCapabilities()
{
    const unsigned int kept[] = {
        CAP_CHOWN,   CAP_DAC_OVERRIDE, CAP_FSETID,           CAP_FOWNER,
        CAP_MKNOD,   CAP_NET_RAW,      CAP_SETGID,           CAP_SETUID,
        CAP_SETFCAP, CAP_SETPCAP,      CAP_NET_BIND_SERVICE, CAP_SYS_CHROOT,
        CAP_KILL,    CAP_AUDIT_WRITE};
    for (unsigned int capability = 0; capability <= CAP_LAST_CAP; ++capability) {
        bool isKept = false;
        for (const unsigned int one : kept) {
            isKept = isKept || one == capability;
        }
        if (!isKept) {
            ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0); // nobody but root has any to drop
        }
    }
}

} // namespace

int main(int /*argc*/, char** argv)
{
    auto program = filter();
    const sock_fprog description{static_cast<unsigned short>(program.size()), program.data()};
    // Who is not root has to give up what setuid programs get; Docker's own root has not.
    if (::geteuid() != 0) {
        ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    }
    if (::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &description, 0, 0) < 0) {
        std::perror("confined: seccomp");
        return 125;
    }
    dropCapabilities();
    ::execvp(argv[1], argv + 1);
    std::perror("confined: exec");
    return 127;
}
