/*
 * no_namespaces COMMAND...: runs a command as a container does that may neither mount nor make
 * namespaces: the calls for that answer EPERM, to the command and to all that it starts.
 */
#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <stdio.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

/* Two jumps of one instruction: the second skips the refusal. */
#define REFUSE(call)                                                                               \
    BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (call), 0, 1),                                             \
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM)

int main(int argc, char** argv) {
    struct sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
        REFUSE(SYS_unshare),
        REFUSE(SYS_mount),
        REFUSE(SYS_setns),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const struct sock_fprog program = {.len = sizeof rules / sizeof rules[0], .filter = rules};
    if (argc < 2) {
        fprintf(stderr, "usage: no_namespaces COMMAND...\n");
        return 2;
    }
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        perror("no_namespaces: a filter of system calls");
        return 125;
    }
    execvp(argv[1], argv + 1);
    perror(argv[1]);
    return 127;
}
