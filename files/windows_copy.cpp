#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "files/windows_file_paths.h"
#include "files/windows_files.h"
#include "platform/carbon/file_copy.h"
#include "text/transcoding.h"
#include "platform/carbon/errno_status.h"
#include "host/file_names.h"

namespace orvik {
namespace {

OSErr CopyTo(const FSRef& source, const std::string& target) {
  return FSCopyFileAs(&source, reinterpret_cast<const UInt8*>(target.c_str()), kBusyFileType);
}

// The path of the target by its parent folder as that is spelled on disk; empty when there is none.
std::string PathInParent(const char16_t* target) {
  FSRef parent;
  HFSUniStr255 name;
  std::string path;
  if (FindParentBriefly(target, &parent, &name) != noErr ||
      FSRefCopyPath(&parent, &path) != noErr) {
    return {};
  }
  const std::optional<std::string> leaf = host::FileNameToBytes({name.unicode, name.length});
  return leaf ? path + "/" + *leaf : std::string();
}

}  // namespace

BOOL CopyFile(const char16_t* source, const char16_t* target, BOOL fail_if_exists) {
  if (source == nullptr || target == nullptr || source == target ||
      std::u16string_view(source) == std::u16string_view(target)) {
    return FALSE;
  }
  FSRef source_ref;
  if (FindFileBriefly(source, &source_ref) != noErr) return FALSE;
  if (source_ref.kind != kRegularFile && source_ref.kind != kSymbolicLink) return FALSE;
  const std::u16string_view target_text{target};
  if (IsAscii(target_text) && !target_text.ends_with(u'/')) {
    // Making a file tells whether the name is taken: most copies need no other look at the target.
    const OSErr status = CopyTo(source_ref, std::string(target_text.begin(), target_text.end()));
    if (status != dupFNErr) return status == noErr ? TRUE : FALSE;
  }
  FSRef target_ref;
  if (FindFileBriefly(target, &target_ref) == noErr) {
    if (fail_if_exists != FALSE || FSCompareFSRefs(&source_ref, &target_ref) == noErr ||
        FSDeleteObject(&target_ref) != noErr) {
      return FALSE;
    }
  }
  const std::string path = PathInParent(target);
  return !path.empty() && CopyTo(source_ref, path) == noErr ? TRUE : FALSE;
}

}  // namespace orvik
