// URLs of files: the text is that of RFC 3986 and gives the path back, and a path is put together
// again from its last component and the rest.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "platform/core_foundation/string.h"
#include "platform/core_foundation/url.h"
#include "platform/foundation/autorelease_pool.h"
#include "prefs/auto_release.h"

using orvik::CFStringRef;
using orvik::CFURLRef;
using orvik::fuzz::Require;
using Url = orvik::CAutoCFRelease<CFURLRef>;
using Text = orvik::CAutoCFRelease<CFStringRef>;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const orvik::NSAutoreleasePool pool;
  const bool is_folder = size > 0 && data[size - 1] == '/';
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  const Url url(orvik::CFURLCreateFromFileSystemRepresentation(
      nullptr, data, static_cast<orvik::CFIndex>(size), is_folder));
  Require((url.Get() != nullptr) == (!bytes.empty() && bytes.find('\0') == std::string::npos));
  if (!url) return 0;
  const std::string& path = url.Get()->Path();
  Require(path.starts_with('/') && (path == "/" || !path.ends_with('/')));
  std::string trimmed = bytes;
  while (trimmed.size() > 1 && trimmed.ends_with('/')) trimmed.pop_back();
  Require(path.ends_with(trimmed));

  std::string text = orvik::CFURLGetString(url)->ToUtf8();
  Require(text.starts_with("file:///") && text.ends_with('/') == (is_folder || path == "/"));
  std::string decoded = orvik::fuzz::PercentDecoded(std::string_view(text).substr(7));
  if (is_folder && decoded != "/") decoded.pop_back();
  Require(decoded == path);

  const Text units(orvik::CFURLCopyFileSystemPath(url, orvik::kCFURLPOSIXPathStyle));
  const Url again(
      orvik::CFURLCreateWithFileSystemPath(nullptr, units, orvik::kCFURLPOSIXPathStyle, is_folder));
  Require(again && orvik::CFEqual(again, url));
  Require(orvik::CFHash(again) == orvik::CFHash(url));

  const Text last(orvik::CFURLCopyLastPathComponent(url));
  const Url rest(orvik::CFURLCreateCopyDeletingLastPathComponent(nullptr, url));
  Require(rest && orvik::CFURLHasDirectoryPath(rest));
  if (path == "/" || path.find("//") != std::string::npos) return 0;
  const Url joined(orvik::CFURLCreateCopyAppendingPathComponent(nullptr, rest, last, is_folder));
  Require(joined && orvik::CFEqual(joined, url));
  return 0;
}
