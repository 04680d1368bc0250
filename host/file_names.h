// Names of files: UTF-16 in the system, bytes on disk.
//
// A name on disk is UTF-8 as a rule, but may be any bytes. A byte that belongs to no well-formed
// UTF-8 sequence becomes one unit of U+DC80..U+DCFF (0xDC00 + the byte) and such a unit, when no
// high surrogate precedes it, becomes the byte again. So every name that was listed opens the
// file it was listed for.
//
// Path values turn "\" into "/", so what hands a name on to one writes U+DC5C for a "\" in it. That
// unit becomes "\" here and is never made here.
//
// Any other lone surrogate becomes the three bytes UTF-8 would have for it. They are not
// well-formed UTF-8, so the file is listed as three units that turn into the same bytes.
//
//   "caf\xC3\xA9"  <->  u"café"
//   "caf\xE9"      <->  u"caf\xDCE9"
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Never fails.
std::u16string FileNameFromBytes(std::string_view bytes);

// Works for whole paths too. Nothing when the text holds NUL: no file can have that name.
std::optional<std::string> FileNameToBytes(std::u16string_view name);

// Names whose accented letters are spelled otherwise on disk (composed or decomposed). The file
// systems here take two spellings for two names; the callers of this system take them for one.
//
// The rule, for every call that takes a path: an entry of exactly this name is the one. If there is
// none, the entry that is equal after Unicode normalisation is, unless there are several: each of
// those has its own name only. ASCII names are never looked for.

// The names of a folder by their composed spelling (Unicode NFC), for many look-ups in a folder
// that no other process changes meanwhile.
class FolderSpellings {
 public:
  // Reads the names of the open folder: 0 or an errno.
  int Read(int folder);

  // The one entry that is equal to the name; nothing when there is none, or several.
  std::optional<std::string> Find(std::string_view name) const;

 private:
  struct Entry {
    std::string name;
    bool is_single;
  };
  std::unordered_map<std::u16string, Entry> entries_;  // by composed name
};

// The path as it is spelled on disk, by the rule above for each component; from the first one that
// is not found as it was given.
std::string PathOnDisk(std::string path);

}  // namespace host
}  // namespace orvik
