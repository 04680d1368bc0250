// How references are made and followed, for the other files of the file manager.
//
// Functions return 0 or an errno, except where they say so.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "platform/carbon/files.h"
#include "platform/carbon/fsref.h"
#include "platform/core_foundation/base.h"

namespace orvik::carbon {

enum class Leaf { kFollow, kKeep };  // what becomes of a final symbolic link
enum class Hold { kAnchored, kLoose };

// What statx knows, the birth time included.
int StatAt(int folder, const char* name, Leaf leaf, struct statx* out);
int StatPath(const std::string& path, Leaf leaf, struct statx* out);
int StatDescriptor(int descriptor, struct statx* out);

std::uint64_t DeviceOf(const struct statx& info);

// True when the information is that of the object the reference names.
bool IsReferent(const FSRef& ref, const struct statx& info);

// Notes identity and path in `ref`; the path must be absolute.
void NoteReference(std::string path, const struct statx& info, FSRef* ref);

// Makes a reference for the object at the path (relative paths count from the current folder).
// `out` may be null.
int MakeReference(std::string_view path, Leaf leaf, Hold hold, FSRef* ref, struct statx* out);

// The present path of the referent and what it is; ENOENT when it is gone. `out` may be null.
int LocateReference(const FSRef& ref, std::string* path, struct statx* out);

// parent + "/" + name.
std::string ChildPath(const std::string& parent, std::string_view name);

// "/a/b" gives "/a" and "b"; the root has itself as parent and an empty name.
std::string_view ParentPath(std::string_view path);
std::string_view LeafName(std::string_view path);

// A name on disk as a counted name; false when it has more than 255 units.
bool SetUniStr(std::string_view bytes, HFSUniStr255* name);

// Path of the child `name` of a folder, which must exist; the child need not. A status.
OSErr PathOfChild(const FSRef* parent, unsigned long length, const UniChar* name,
                  std::string* path);

}  // namespace orvik::carbon
