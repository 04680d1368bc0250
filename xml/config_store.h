// Settings in an XML file, one file a scope, addressed by scope, key path and value name.
//
// Scope 0 is "Global", scope 1 is "User"; with any other scope, and before SetXMLConfig, every
// operation does nothing and returns false or null. Key paths are split like those of the
// preference store (prefs/key_path.h).
//
//   <key name="ORVIK Technologies" scope="User">
//     <key name="A"> <key name="B"> <value name="v" data="5"/> </key> </key>
//   </key>
//
// "/" and "\" both separate, so no name of a key holds either: what is written under "C:\Programs"
// is the key "Programs" in the key "C:". A program that keeps such names encodes them, or keeps
// them as names of values, which are used as they are.
//
// The file is read once, by the first operation that needs it, and worked on in memory; only
// SaveXMLConfigFile writes. Later changes to the file by others are not seen.
//
// Names are compared without case as CAtlStringA::CompareNoCase compares their UTF-8 bytes: as if
// each byte were a character of Mac OS Roman. The first match in document order counts.
// - Names in ASCII meet when they differ in the case of letters: "path" is "PATH".
// - Other names meet when their bytes differ only in letters' case and in these pairs: 80 and 8A,
//   81 and 8C, 82 and 8D, 83 and 8E, 84 and 96, 85 and 9A, 86 and 9F, AE and BE, AF and BF, CE and
//   CF, D8 and D9. So "Ä" and "Ö" (C3 84, C3 96) are one name, and "Ä" and "ä" (C3 84, C3 A4) two.
// A name keeps the spelling in which it was written first; the writer of another one is informed
// (XMLConfigWriteStatus::kOtherSpelling). An application that needs other names than ASCII apart
// encodes them.
//
// Time: an operation takes the same among 10 and 100,000 children of a key. The first one after a
// call that gave the caller an element (see Elements) grows with their number.
//
// A file that cannot be read, is not well-formed (tixml_helper.h) or has another root counts as
// empty: reads fail, and the first write starts a new document. GetXMLConfigFileInfo says why. The
// save that replaces such a file first keeps it beside its name, as "<file>.discarded",
// "<file>.discarded-2" and so on; until then it stays as it is.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include "files/file_path.h"
#include "strings/atl_array.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "xml/tixml_helper.h"

class TiXmlDocument;
class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

// ---- The file ----

// Names the scope's file; nothing is loaded, created or checked. Another path than before drops the
// document that was loaded, and the next operation loads the new file; the same path keeps it.
// False when changes that had not been saved were dropped in this way.
bool SetXMLConfig(int scope, COrvikFilePath path);
bool IsXMLConfigSet(int scope);

// Writes a configuration without keys to the path, whatever the file held before, as WriteWholeFile
// does (files/whole_file.h): a reader sees the old file or the new one, but for a file that can
// only be written where it is. Not flushed. False when the file cannot be created or written.
bool CreateConfigFile(COrvikFilePath path, int scope);

enum class XMLConfigFileState {
  kNotSet,  // no SetXMLConfig, or no such scope
  kUsable,
  kMissing,
  kUnreadable,
  kDamaged,    // not well-formed, or refused for its size or depth
  kOtherRoot,  // XML, and no configuration of the scope
};

struct XMLConfigFileInfo {
  XMLConfigFileState state = XMLConfigFileState::kNotSet;
  COrvikFilePath path;
  XMLDocumentError error;  // where and why, of an unreadable or damaged file
};

// The state of the scope's file when it was last read or saved. Reads it when that has not been
// tried.
// A damaged file may be in use all the same: characters that XML cannot hold, which earlier
// versions saved, are read as U+FFFD, and the file is kept beside its name by the next save.
XMLConfigFileInfo GetXMLConfigFileInfo(int scope);

// Loads the file anew: every element of the document before is gone, and with it what was not
// saved. Null when there is no valid root in it. With `from_temporary` the scope's temporary file
// is loaded, if the application has set one.
TiXmlElement* LoadXMLRootFromFile(int scope, bool from_temporary);
// The root, from the first call on; null as long as there is none.
TiXmlElement* FindXMLRootElement(int scope);
// The root, or the root of a new document when there is none. Null when the path leads to something
// other than a regular file, or when its folder takes no copy of the file to be replaced.
TiXmlElement* GetXMLConfigRootElement(int scope);

// Replaces the configuration file as a whole: a reader sees the old one or the new one. Its mode,
// and owner and group as far as the rights allow, stay, and a link is followed. A file for which
// everybody lacks write permission is replaced, too. False, and the old file under its name, when
// that fails, when there is no root, and when the document could not be loaded again.
[[nodiscard("false: nothing is saved")]] bool SaveXMLConfigFile(int scope);

// ---- Elements ----
//
// They belong to the scope's document and live until they are deleted or the document is dropped.
// The caller may change them with TinyXML, and destroy them. The next operation on the scope sees
// the change. For a change that comes later, through an element that was kept since, get an element
// again afterwards (FindXMLRootElement): until then an element that was inserted before others, or
// got another name, may not be found among more than 128 children.

// Tag name, and value of an attribute, without case.
bool IsXMLElementAType(TiXmlElement* element, CAtlStringA type);
bool XMLElementHasAttr(TiXmlElement* element, CAtlStringA attribute, CAtlStringA value);
// Whether it is the top element of its document and has the scope's name and scope attributes; its
// tag name is not looked at.
bool IsValidXMLConfigRoot(int scope, TiXmlElement* element);

TiXmlElement* FindXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                        CAtlString value_name);
// Makes what is missing, the value without "data". Null when the document could not be loaded
// again: when elements would be nested too deep (tixml_helper.h), or XML cannot hold a name.
TiXmlElement* GetXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                       CAtlString value_name);
// The key; the root for an empty path.
TiXmlElement* FindXMLSubKeyElement(int scope, CAtlString key_path);

// ---- Settings ----

// False when there can be no root (GetXMLConfigRootElement), when elements would be nested too
// deep, and when XML cannot hold a name or the value: it cannot hold control characters other than
// tab, line feed and carriage return, lone surrogates, U+FFFE and U+FFFF. A NUL ends name and
// value.
bool WriteXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int value);
bool WriteXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString value);

enum class XMLConfigWriteStatus {
  kNothingWritten,  // no write yet, or no such scope
  kWritten,
  kOtherSpelling,  // written, below names of which one was there in another spelling, which it
                   // keeps
  kNoRoot,         // the others are failures
  kTooDeep,
  kNotXml,
};

// How the last write in the scope ended.
XMLConfigWriteStatus GetXMLConfigWriteStatus(int scope);

// False, and `value` untouched, when there is no such value or it is empty. Leading digits count;
// what an int cannot hold becomes the nearest that it can.
bool GetXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int& value);
// An empty string that was written cannot be read back: the answer is false, as for a missing
// value. GetXMLConfigValueState distinguishes the two.
bool GetXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString& value);

enum class XMLConfigValueState { kMissing, kEmpty, kSet };
XMLConfigValueState GetXMLConfigValueState(int scope, CAtlString key_path, CAtlString value_name);

// Both are true when there is nothing to delete, and false when the scope has no root. An empty key
// path would be the root and is refused.
bool DeleteXMLConfigValueElement(int scope, CAtlString key_path, CAtlString value_name);
bool DeleteXMLSubKeyElement(int scope, CAtlString key_path);

// The names of the keys, not the values, below a key. False when there is no such key.
bool ListPreferencesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names);
// The names of the values of a key, in the order of the document. False when there is no such key.
bool ListValuesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names);

// The data of the configuration store for each of its two scopes. Set and used without locks; the
// store owns all of it, and none of it is destroyed when the program ends.

// Scope 0. The paths are null as long as they are not set. The store makes no temporary file; the
// path of one is read by LoadXMLRootFromFile only.
extern COrvikFilePath* g_pathGlobalXMLConfig;
extern COrvikFilePath* g_pathTempGlobalXMLConfig;
extern boost::shared_ptr<TiXmlDocument>& g_pGlobalXMLConfigDoc;
extern TiXmlElement* g_pGlobalXMLConfigRootElement;  // null: no valid root
extern bool g_bGlobalXMLConfigFileLoaded;            // whether loading was tried

// Scope 1.
extern COrvikFilePath* g_pathLocalXMLConfig;
extern COrvikFilePath* g_pathTempLocalXMLConfig;
extern boost::shared_ptr<TiXmlDocument>& g_pLocalXMLConfigDoc;
extern TiXmlElement* g_pLocalXMLConfigRootElement;
extern bool g_bLocalXMLConfigFileLoaded;

}  // namespace orvik
