// Statuses of the platform, and the translation of errno values into them.
//
//   errno                                  status
//   0                                      noErr              0
//   EPERM, EACCES                          afpAccessDenied    -5000
//   ENOENT, ESTALE, ENXIO, ENODEV          fnfErr             -43
//   EEXIST                                 dupFNErr           -48
//   ENOTDIR                                dirNFErr           -120
//   EISDIR                                 notAFileErr        -1302
//   ENOTEMPTY, EBUSY, ETXTBSY, EWOULDBLOCK fBsyErr            -47
//   EROFS                                  vLckdErr           -46
//   ENOSPC, EDQUOT                         dskFulErr          -34
//   EFBIG                                  fileBoundsErr      -1309
//   EMFILE, ENFILE                         tmfoErr            -42
//   ENAMETOOLONG, EILSEQ                   bdNamErr           -37
//   EXDEV                                  diffVolErr         -1303
//   EINVAL, EFAULT                         paramErr           -50
//   EBADF                                  rfNumErr           -51
//   ENODATA                                errFSForkNotFound  -1409
//   ENOMEM                                 memFullErr         -108
//   ENOTSUP, ENOSYS, ENOTTY                unimpErr           -4
//   ELOOP                                  fnfErr             -43
//   EIO and all others                     ioErr              -36
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr OSErr noErr = 0;
inline constexpr OSErr unimpErr = -4;
inline constexpr OSErr dskFulErr = -34;
inline constexpr OSErr nsvErr = -35;
inline constexpr OSErr ioErr = -36;
inline constexpr OSErr bdNamErr = -37;
inline constexpr OSErr eofErr = -39;
inline constexpr OSErr posErr = -40;
inline constexpr OSErr tmfoErr = -42;
inline constexpr OSErr fnfErr = -43;
inline constexpr OSErr fLckdErr = -45;
inline constexpr OSErr vLckdErr = -46;
inline constexpr OSErr fBsyErr = -47;
inline constexpr OSErr dupFNErr = -48;
inline constexpr OSErr opWrErr = -49;
inline constexpr OSErr paramErr = -50;
inline constexpr OSErr rfNumErr = -51;
inline constexpr OSErr permErr = -54;
inline constexpr OSErr wrPermErr = -61;
inline constexpr OSErr memFullErr = -108;
inline constexpr OSErr dirNFErr = -120;
inline constexpr OSErr userCanceledErr = -128;  // also when the user could not be asked
inline constexpr OSErr procNotFound = -600;
inline constexpr OSErr notAFileErr = -1302;
inline constexpr OSErr diffVolErr = -1303;
inline constexpr OSErr fileBoundsErr = -1309;
inline constexpr OSErr errFSForkNotFound = -1409;
inline constexpr OSErr errFSRefsDifferent = -1420;
inline constexpr OSErr pathTooLongErr = -2110;
inline constexpr OSErr coreFoundationUnknownErr = -4960;
inline constexpr OSErr afpAccessDenied = -5000;

namespace host {

// Translates by the table above.
OSStatus StatusFromErrno(int error);

}  // namespace host
}  // namespace orvik
