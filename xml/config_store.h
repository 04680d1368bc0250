// Settings in an XML file, one file a scope, addressed by scope, key path and value name.
//
// Scope 0 is "Global", scope 1 is "User"; with any other scope, and before SetXMLConfig, every
// operation does nothing and answers false or null. Key paths are split like those of the
// preference store (prefs/key_path.h). Names are matched without case, in document order.
//
// The file is read once, by the first operation that needs it, and worked on in memory; only
// SaveXMLConfigFile writes. Later changes to the file by others are not seen. An operation walks
// the children of each key on its path once, so its time grows with their number.
//
//   <key name="ORVIK Technologies" scope="User">
//     <key name="A"> <key name="B"> <value name="v" data="5"/> </key> </key>
//   </key>
//
// A file that cannot be read, is not well-formed (tixml_helper.h) or has another root counts as
// empty: reads fail, and the first write starts anew. What stood in the file is kept beside it
// then, as "<file>.discarded", "<file>.discarded 2", ... Elements that come out of the store belong
// to its document and live until they are deleted or the document is dropped.
#pragma once

#include "files/file_path.h"
#include "strings/atl_array.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

// ---- The file (config_document.cpp) ----

// Names the scope's file; nothing is loaded, created or checked. Another path than before drops the
// document that was loaded, and the next operation loads the new file; the same path keeps it.
// False when changes that had not been saved were dropped in this way.
bool SetXMLConfig(int scope, COrvikFilePath path);
bool IsXMLConfigSet(int scope);

// Writes a configuration without keys to the path. False when the file cannot be created.
bool CreateConfigFile(COrvikFilePath path, int scope);

// Loads the file, or the scope's temporary file, anew: every element of the document before is
// gone, and with it what was not saved. Null when there is no valid root in it.
TiXmlElement* LoadXMLRootFromFile(int scope, bool from_temporary);
// The root, from the first call on; null as long as there is none.
TiXmlElement* FindXMLRootElement(int scope);
// The root, which is made when there is none. Null when what stands at the path cannot be moved
// aside, is a folder, or the temporary file cannot be written.
TiXmlElement* GetXMLConfigRootElement(int scope);

// Writes the document to the temporary file and then replaces the configuration file as a whole. A
// file for which everybody lacks write permission is replaced, too, and keeps its mode. False, and
// the old file as it was, when that fails; the temporary file is kept once it is whole. False also
// when there is no root to save.
bool SaveXMLConfigFile(int scope);

// ---- Elements (config_lookup.cpp) ----

// Tag name, and value of an attribute, without case.
bool IsXMLElementAType(TiXmlElement* element, CAtlStringA type);
bool XMLElementHasAttr(TiXmlElement* element, CAtlStringA attribute, CAtlStringA value);
// Whether it is the top element of its document and has the scope's name and scope attributes; its
// tag name is not looked at.
bool IsValidXMLConfigRoot(int scope, TiXmlElement* element);

TiXmlElement* FindXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                        CAtlString value_name);
// Makes what is missing, the value without "data". Null when the path is too long for the document
// to be loaded again (kMostXmlDepth).
TiXmlElement* GetXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                       CAtlString value_name);
// The key; the root for an empty path.
TiXmlElement* FindXMLSubKeyElement(int scope, CAtlString key_path);

// ---- Settings (config_store.cpp) ----

bool WriteXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int value);
// A NUL ends the value. Both are false for a name or a value with a character that XML cannot hold:
// control characters other than tab, line feed and carriage return, U+FFFE and U+FFFF.
bool WriteXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString value);
// False, and `value` untouched, when there is no such value or it is empty. Leading digits count;
// what an int cannot hold becomes the nearest that it can.
bool GetXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int& value);
// An empty string that was written cannot be read back.
bool GetXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString& value);

// Both are true when there is nothing to delete, and false when the scope has no root. An empty key
// path would be the root and is refused.
bool DeleteXMLConfigValueElement(int scope, CAtlString key_path, CAtlString value_name);
bool DeleteXMLSubKeyElement(int scope, CAtlString key_path);

// The names of the keys, not the values, below a key. False when there is no such key.
bool ListPreferencesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names);

}  // namespace orvik
