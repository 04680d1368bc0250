// Names of files: UTF-16 in the system, bytes on disk.
//
// A name on disk is usually UTF-8, but may be any bytes. A byte outside well-formed UTF-8 becomes
// one unit of U+DC80..U+DCFF (0xDC00 + the byte). Such a unit, unless it follows a high surrogate,
// becomes that byte again. So every listed name opens the file that was listed.
//
// Path values turn "\" into "/". A caller that passes a name to a path value therefore replaces a
// "\" by U+DC5C. FileNameToBytes turns that unit into "\"; FileNameFromBytes never produces it.
//
// Any other unpaired surrogate becomes the three bytes that UTF-8 would use for it. These bytes are
// not well-formed UTF-8, so listing the file gives three units that turn into the same bytes.
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

// The name as text. Never fails.
std::u16string FileNameFromBytes(std::string_view bytes);

// The bytes of a name or of a whole path. Nothing for a text with NUL, which a file name cannot
// have.
std::optional<std::string> FileNameToBytes(std::u16string_view name);

// Names whose accented letters are spelled differently on disk (composed or decomposed). Linux file
// systems treat two spellings as two names; the callers of this system treat them as one.
//
// The rule for every call with a path: an entry with exactly this name is used. If there is none,
// the entry whose name is equal after Unicode normalisation is used, but only if there is a single
// such entry. For ASCII names no such search is made.

// The names of a folder by their composed spelling (Unicode NFC), for many look-ups in a folder
// that other processes leave unchanged meanwhile.
class FolderSpellings {
 public:
  // Reads the names of the open folder: 0 or an errno.
  int Read(int folder);

  // The single entry that is equal to the name; nothing when there is none or more than one.
  std::optional<std::string> Find(std::string_view name) const;

 private:
  struct Entry {
    std::string name;
    bool is_single;
  };
  std::unordered_map<std::u16string, Entry> entries_;  // by composed name
};

// The path as it is spelled on disk, by the rule above for each component. Components after the
// first one that does not exist stay as they are given.
std::string PathOnDisk(std::string path);

}  // namespace host
}  // namespace orvik
