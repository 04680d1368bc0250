#include "platform/core_foundation/errno_status.h"

#include <cerrno>
#include <utility>

namespace orvik::host {

OSStatus StatusFromErrno(int error) {
  static constexpr std::pair<int, OSErr> kStatuses[] = {{0, noErr},
                                                        {EPERM, afpAccessDenied},
                                                        {EACCES, afpAccessDenied},
                                                        {ENOENT, fnfErr},
                                                        {ESTALE, fnfErr},
                                                        {ENXIO, fnfErr},
                                                        {ENODEV, fnfErr},
                                                        {ELOOP, fnfErr},
                                                        {EEXIST, dupFNErr},
                                                        {ENOTDIR, dirNFErr},
                                                        {EISDIR, notAFileErr},
                                                        {ENOTEMPTY, fBsyErr},
                                                        {EBUSY, fBsyErr},
                                                        {ETXTBSY, fBsyErr},
                                                        {EWOULDBLOCK, fBsyErr},
                                                        {EROFS, vLckdErr},
                                                        {ENOSPC, dskFulErr},
                                                        {EDQUOT, dskFulErr},
                                                        {EFBIG, fileBoundsErr},
                                                        {EMFILE, tmfoErr},
                                                        {ENFILE, tmfoErr},
                                                        {ENAMETOOLONG, bdNamErr},
                                                        {EILSEQ, bdNamErr},
                                                        {EXDEV, diffVolErr},
                                                        {EINVAL, paramErr},
                                                        {EFAULT, paramErr},
                                                        {EBADF, rfNumErr},
                                                        {ENODATA, errFSForkNotFound},
                                                        {ENOMEM, memFullErr},
                                                        {ENOTSUP, unimpErr},
                                                        {ENOSYS, unimpErr},
                                                        {ENOTTY, unimpErr}};
  for (const auto& [number, status] : kStatuses) {
    if (number == error) return status;
  }
  return ioErr;
}

}  // namespace orvik::host
