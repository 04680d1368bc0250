#include "platform/core_foundation/errno_status.h"

#include <cerrno>

namespace orvik::host {

OSStatus StatusFromErrno(int error) {
  switch (error) {
    case 0:
      return noErr;
    case EPERM:
    case EACCES:
      return afpAccessDenied;
    case ENOENT:
    case ESTALE:
    case ENXIO:
    case ENODEV:
    case ELOOP:
      return fnfErr;
    case EEXIST:
      return dupFNErr;
    case ENOTDIR:
      return dirNFErr;
    case EISDIR:
      return notAFileErr;
    case ENOTEMPTY:
    case EBUSY:
    case ETXTBSY:
    case EWOULDBLOCK:
      return fBsyErr;
    case EROFS:
      return vLckdErr;
    case ENOSPC:
    case EDQUOT:
      return dskFulErr;
    case EFBIG:
      return fileBoundsErr;
    case EMFILE:
    case ENFILE:
      return tmfoErr;
    case ENAMETOOLONG:
    case EILSEQ:
      return bdNamErr;
    case EXDEV:
      return diffVolErr;
    case EINVAL:
    case EFAULT:
      return paramErr;
    case EBADF:
      return rfNumErr;
    case ENODATA:
      return errFSForkNotFound;
    case ENOMEM:
      return memFullErr;
    case ENOTSUP:
    case ENOSYS:
    case ENOTTY:
      return unimpErr;
    default:
      return ioErr;
  }
}

const char* StatusText(OSStatus status) {
  static constexpr struct {
    OSStatus status;
    const char* text;
  } kTexts[] = {
      {noErr, ""},
      {unimpErr, "not supported by the volume"},
      {dskFulErr, "no room on the volume"},
      {nsvErr, "no such volume"},
      {ioErr, "input or output error"},
      {bdNamErr, "bad or too long name"},
      {eofErr, "end of file"},
      {posErr, "position outside the file"},
      {tmfoErr, "too many open files"},
      {fnfErr, "no such file or folder"},
      {fLckdErr, "file is locked"},
      {vLckdErr, "volume is read-only"},
      {fBsyErr, "file is in use or a mount point, or folder is not empty"},
      {dupFNErr, "name is taken"},
      {opWrErr, "file is open for writing already"},
      {paramErr, "bad parameter"},
      {rfNumErr, "no such open file"},
      {permErr, "file is locked by another"},
      {wrPermErr, "no right to write"},
      {memFullErr, "no memory"},
      {dirNFErr, "no such folder"},
      {procNotFound, "no such process"},
      {errFSNoMoreItems, "no more items"},
      {notAFileErr, "not a file"},
      {diffVolErr, "on another volume"},
      {fileBoundsErr, "file too large"},
      {errFSNotAFolder, "not a folder"},
      {errFSForkNotFound, "no such fork"},
      {errFSRefsDifferent, "not the same file"},
      {pathTooLongErr, "path too long"},
      {coreFoundationUnknownErr, "unknown reason"},
      {afpAccessDenied, "no permission"},
      {afpItemNotFound, "no such item"},
      {afpVolumeFullErr, "no room on the volume"},
  };
  for (const auto& known : kTexts) {
    if (known.status == status) return known.text;
  }
  return "unknown error";
}

}  // namespace orvik::host
