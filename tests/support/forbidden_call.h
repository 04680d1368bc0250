// System calls that fail as they do on other volumes.
#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <iterator>

namespace orvik::test {

enum class Compare : unsigned short { kEqual = BPF_JEQ, kAnyBit = BPF_JSET };

#ifdef SYS_fcntl64  // 32-bit systems
inline constexpr unsigned kFcntl = SYS_fcntl64;
#else
inline constexpr unsigned kFcntl = SYS_fcntl;
#endif

// From now on, the call fails with `error` in this process if its argument number `argument`,
// counted from 0, compares with `value` as `compare` says.
inline void ForbidCall(unsigned call, unsigned argument, Compare compare, unsigned value,
                       unsigned error) {
  const auto place = static_cast<unsigned>(offsetof(seccomp_data, args) + 8 * argument);
  const auto jump = static_cast<unsigned short>(BPF_JMP | BPF_K | static_cast<unsigned>(compare));
  sock_filter program[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 3),
                           BPF_STMT(BPF_LD | BPF_W | BPF_ABS, place),
                           BPF_JUMP(jump, value, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter = {std::size(program), program};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter);
}

}  // namespace orvik::test
