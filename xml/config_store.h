// Settings in an XML file, one file per scope, addressed by scope, key path and value name.
//
// Scope 0 is "Global", scope 1 is "User"; with any other scope, and before SetXMLConfig, every
// operation does nothing and returns false or null. Key paths are split like those of the
// preference store (prefs/key_path.h).
//
//   <key name="ORVIK Technologies" scope="User">
//     <key name="A"> <key name="B"> <value name="v" data="5"/> </key> </key>
//   </key>
//
// "/" and "\" both separate, so the name of a key cannot contain them: a value written under
// "C:\Programs" is in the key "Programs" of the key "C:". To keep such names, a program encodes
// them, or uses them as names of values, which are not split.
//
// The file is read once, by the first operation that needs it, and changed in memory; only
// SaveXMLConfigFile writes it. Later changes of the file by other processes are not noticed.
//
// Names are compared without case, as CAtlStringA::CompareNoCase compares their UTF-8 bytes: as if
// each byte were a character of Mac OS Roman. The first match in document order is used.
// - Names in ASCII are equal if they differ only in the case of letters: "path" and "PATH".
// - Other names are equal if their bytes differ only in the case of letters and in these pairs: 80
//   and 8A, 81 and 8C, 82 and 8D, 83 and 8E, 84 and 96, 85 and 9A, 86 and 9F, AE and BE, AF and BF,
//   CE and CF, D8 and D9. So "Ä" and "Ö" (C3 84, C3 96) are one name, "Ä" and "ä" (C3 84, C3 A4)
//   are two.
// A name keeps the spelling in which it was written first; a write with another spelling reports
// that (XMLConfigWriteStatus::kOtherSpelling). An application that must distinguish names beyond
// ASCII encodes them.
//
// Time: an operation takes as long with 100,000 children of a key as with 10. Only the first one
// after a call that returned an element (see Elements) takes a time that grows with their number.
//
// A file that cannot be read, is not well-formed (tixml_helper.h) or has another root counts as
// empty: reads fail, and the first write starts a new document. GetXMLConfigFileInfo gives the
// reason. The save that replaces such a file first keeps it beside its name, as "<file>.discarded",
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

// Sets the scope's file; nothing is loaded, created or checked. A path other than before drops the
// loaded document, and the next operation loads the new file; the same path keeps the document.
// False when unsaved changes were lost with the document.
bool SetXMLConfig(int scope, COrvikFilePath path);
bool IsXMLConfigSet(int scope);

// Writes a configuration without keys to the path and replaces an old content, as WriteWholeFile
// does (files/whole_file.h): a reader sees the old or the new file, unless the file can only be
// written in place. Not flushed. False when the file cannot be created or written.
bool CreateConfigFile(COrvikFilePath path, int scope);

enum class XMLConfigFileState {
  kNotSet,  // before SetXMLConfig, or an unknown scope
  kUsable,
  kMissing,
  kUnreadable,
  kDamaged,    // not well-formed, or refused for its size or depth
  kOtherRoot,  // XML, but not a configuration of the scope
};

struct XMLConfigFileInfo {
  XMLConfigFileState state = XMLConfigFileState::kNotSet;
  COrvikFilePath path;
  XMLDocumentError error;  // reason and place for an unreadable or damaged file
};

// The state of the scope's file when it was last read or saved. Reads the file if that has not been
// tried. A damaged file may still be in use: characters that XML does not allow, which earlier
// versions saved, are read as U+FFFD, and the next save keeps the file beside its name.
XMLConfigFileInfo GetXMLConfigFileInfo(int scope);

// Loads the file again: every element of the old document is destroyed, and unsaved changes are
// lost. Null when the file has no valid root. With `from_temporary` the scope's temporary file is
// loaded, if the application has set one.
TiXmlElement* LoadXMLRootFromFile(int scope, bool from_temporary);
// The root; the first call reads the file. Null as long as there is no valid root.
TiXmlElement* FindXMLRootElement(int scope);
// The root, or the root of a new document when there is none. Null when the path leads to an object
// other than a regular file, or when the file to be replaced cannot be kept in its folder.
TiXmlElement* GetXMLConfigRootElement(int scope);

// Replaces the configuration file atomically: a reader sees the old or the new one. Its mode stays,
// owner and group stay as far as permissions allow, and a link is followed. A file that no user may
// write is replaced, too. False, and the old file stays, when that fails, when there is no root,
// and when the document could not be loaded again.
[[nodiscard("false: nothing is saved")]] bool SaveXMLConfigFile(int scope);

// ---- Elements ----
//
// They belong to the scope's document and live until they are deleted or the document is dropped.
// The caller may change them with TinyXML, and destroy them. The next operation on the scope sees
// the change. If the caller keeps an element and changes it after a further operation, it must get
// an element again afterwards (FindXMLRootElement): until then, in a key with more than 128
// children, an element that was inserted before others or renamed may not be found.

// Compare the tag name, or the value of an attribute, without case.
bool IsXMLElementAType(TiXmlElement* element, CAtlStringA type);
bool XMLElementHasAttr(TiXmlElement* element, CAtlStringA attribute, CAtlStringA value);
// Whether it is the top element of its document and has the scope's name and scope attributes; its
// tag name does not matter.
bool IsValidXMLConfigRoot(int scope, TiXmlElement* element);

TiXmlElement* FindXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                        CAtlString value_name);
// Makes missing keys and the value, which gets no "data". Null when the document could not be
// loaded again: when elements would be nested too deep (tixml_helper.h), or XML does not allow a
// name.
TiXmlElement* GetXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                       CAtlString value_name);
// The key; the root for an empty path.
TiXmlElement* FindXMLSubKeyElement(int scope, CAtlString key_path);

// ---- Settings ----

// False when there can be no root (GetXMLConfigRootElement), when elements would be nested too
// deep, and when XML does not allow a name or the value: control characters other than tab, line
// feed and carriage return, lone surrogates, U+FFFE and U+FFFF. A NUL ends name and value.
bool WriteXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int value);
bool WriteXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString value);

enum class XMLConfigWriteStatus {
  kNothingWritten,  // no write yet, or an unknown scope
  kWritten,
  kOtherSpelling,  // written, below names of which one was there in another spelling, which it
                   // keeps
  kNoRoot,         // this and the following are failures
  kTooDeep,
  kNotXml,
};

// The result of the last write in the scope.
XMLConfigWriteStatus GetXMLConfigWriteStatus(int scope);

// False, and `value` unchanged, when the value is missing or empty. Reads leading digits; a number
// outside the range of int becomes the nearest int.
bool GetXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int& value);
// An empty string that was written cannot be read back: the result is false, as for a missing
// value. GetXMLConfigValueState distinguishes the two.
bool GetXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString& value);

enum class XMLConfigValueState { kMissing, kEmpty, kSet };
XMLConfigValueState GetXMLConfigValueState(int scope, CAtlString key_path, CAtlString value_name);

// Both return true when there is nothing to delete, and false when the scope has no root. An empty
// key path would mean the root and is refused.
bool DeleteXMLConfigValueElement(int scope, CAtlString key_path, CAtlString value_name);
bool DeleteXMLSubKeyElement(int scope, CAtlString key_path);

// The names of the keys, not the values, below a key. False when the key does not exist.
bool ListPreferencesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names);
// The names of the values of a key, in document order. False when the key does not exist.
bool ListValuesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names);

// The data of the configuration store for each of its two scopes. Access is not locked. The store
// owns all of it and destroys none of it when the program ends.

// Scope 0. The paths are null until they are set. The store makes no temporary file; only
// LoadXMLRootFromFile reads the path of one.
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
