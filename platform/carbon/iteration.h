// Walking through the entries of a folder.
//
// Functions return a status: 0, or one of host/errno_status.h; errFSNoMoreItems ends a walk. The
// walk goes on while entries vanish or appear: one that vanished before it could be described is
// left out, one that appeared may come or not, and none comes twice.
#pragma once

#include "platform/carbon/files.h"

namespace [[gnu::visibility("default")]] orvik {

class FSDirectoryIterator;
using FSIterator = FSDirectoryIterator*;
using FSIteratorFlags = OptionBits;

inline constexpr FSIteratorFlags kFSIterateFlat = 0;
inline constexpr FSIteratorFlags kFSIterateDelete = 2;

// Our own bits beside those of files.h: of the node flags only whether the entry is a folder, or a
// regular file or a link (which FSFolderCopier copies), is looked for. That costs no look at the
// entry itself.
inline constexpr FSCatalogInfoBitmap kFSCatInfoKindOnly = 0x40000000;
inline constexpr UInt16 kFSNodeIsCopiedMask = 0x8000;

// Opens a walk over the entries of a folder, not over those of its subfolders, in the file system's
// order. With kFSIterateDelete the entries may be deleted between fetches and a container that is a
// link is refused; otherwise a link to a folder is followed. errFSNotAFolder for anything else. The
// caller closes the iterator. It holds one descriptor.
OSErr FSOpenIterator(const FSRef* container, FSIteratorFlags flags, FSIterator* iterator);

// Fetches up to `maximum_objects` entries; `actual_objects` is set to the number fetched (also with
// errFSNoMoreItems, when fewer than asked for were left). The arrays have room for the maximum and
// may be null; `specs` too. `container_changed` (may be null) is set to 0.
OSErr FSGetCatalogInfoBulk(FSIterator iterator, ItemCount maximum_objects,
                           ItemCount* actual_objects, Boolean* container_changed,
                           FSCatalogInfoBitmap which_info, FSCatalogInfo* infos, FSRef* refs,
                           FSSpec* specs, HFSUniStr255* names);

OSErr FSCloseIterator(FSIterator iterator);

}  // namespace orvik
