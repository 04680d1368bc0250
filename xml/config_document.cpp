#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <tinyxml.h>

#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "host/replace_file.h"
#include "streams/com_ptr.h"
#include "streams/temp_file.h"
#include "xml/config_scope.h"
#include "xml/config_store.h"
#include "xml/tixml_helper.h"
#include "xml/xml_writer.h"

namespace orvik {

COrvikFilePath* g_pathGlobalXMLConfig = nullptr;
COrvikFilePath* g_pathTempGlobalXMLConfig = nullptr;
boost::shared_ptr<TiXmlDocument> g_pGlobalXMLConfigDoc;
TiXmlElement* g_pGlobalXMLConfigRootElement = nullptr;
bool g_bGlobalXMLConfigFileLoaded = false;

COrvikFilePath* g_pathLocalXMLConfig = nullptr;
COrvikFilePath* g_pathTempLocalXMLConfig = nullptr;
boost::shared_ptr<TiXmlDocument> g_pLocalXMLConfigDoc;
TiXmlElement* g_pLocalXMLConfigRootElement = nullptr;
bool g_bLocalXMLConfigFileLoaded = false;

const char kConfigRootName[] = "ORVIK Technologies";

ConfigScope* ConfigScopeOf(int scope) {
  static ConfigScope scopes[] = {
      {"Global", g_pathGlobalXMLConfig, g_pathTempGlobalXMLConfig, g_pGlobalXMLConfigDoc,
       g_pGlobalXMLConfigRootElement, g_bGlobalXMLConfigFileLoaded, false},
      {"User", g_pathLocalXMLConfig, g_pathTempLocalXMLConfig, g_pLocalXMLConfigDoc,
       g_pLocalXMLConfigRootElement, g_bLocalXMLConfigFileLoaded, false},
  };
  return scope == 0 || scope == 1 ? &scopes[scope] : nullptr;
}

namespace {

void SetPath(COrvikFilePath*& slot, const COrvikFilePath& path) {
  auto* const fresh = new COrvikFilePath(path);
  delete slot;
  slot = fresh;
}

void RemoveTemporary(ConfigScope& state) {
  if (state.temporary == nullptr) return;
  CFileManipulator::DeleteFile(*state.temporary);
  delete std::exchange(state.temporary, nullptr);
  state.temporary_lock = {};
}

bool MakeTemporary(ConfigScope& state) {
  RemoveTemporary(state);
  constexpr char16_t kExtension[] = u".xml";
  COrvikFilePath path = COrvikFilePath::CreateTempFileName(kExtension, {});
  host::Descriptor lock = CreateTempFile(path, kExtension);
  SetPath(state.temporary, path);
  state.temporary_lock = std::move(lock);
  return static_cast<bool>(state.temporary_lock);
}

void Drop(ConfigScope& state) {
  state.root = nullptr;
  state.document.reset();
  state.changed = false;
}

// Frees the path of a file that is no configuration of the scope, without losing its content.
bool MoveAside(const COrvikFilePath& path) {
  if (!path.FileExists()) return true;
  if (path.IsDirectory()) return false;
  if (path.GetFileSize() == 0) return CFileManipulator::DeleteFile(path, FALSE, FALSE) != FALSE;
  const CAtlString name = path.GetFilePathString() + u".discarded";
  COrvikFilePath kept(name);
  for (int number = 2; kept.FileExists(); ++number) {
    CAtlString numbered = name;
    numbered.AppendFormat(u" %d", number);
    kept = COrvikFilePath(numbered);
  }
  return CFileManipulator::MoveFileTo(path, kept) != FALSE;
}

// The document in TinyXML's own layout; false when it cannot be printed.
bool Print(const TiXmlDocument& document, std::string& text) {
  char* bytes = nullptr;
  std::size_t length = 0;
  std::FILE* const memory = open_memstream(&bytes, &length);
  if (memory == nullptr) return false;
  const bool printed = document.SaveFile(memory);
  const bool closed = std::fclose(memory) == 0;
  if (closed) text.assign(bytes, length);
  std::free(bytes);
  return printed && closed;
}

// What an existing file without any write permission does not stop.
bool ReplaceReadOnlyToo(const COrvikFilePath& path, std::string_view content) {
  const std::optional<std::string> bytes = PathForLibc(path.GetFilePathString());
  if (!bytes) return false;
  const bool read_only = !path.CanFileBeWrittenTo();
  if (read_only && !path.ClearFileReadOnly()) return false;
  const bool replaced = host::ReplaceFile(*bytes, content).error == 0;
  if (read_only) path.SetFileReadOnly();
  return replaced;
}

}  // namespace

bool SetXMLConfig(int scope, COrvikFilePath path) {
  ConfigScope* const state = ConfigScopeOf(scope);
  if (state == nullptr) return false;
  const bool other = state->path != nullptr &&
                     state->path->GetFilePathString().View() != path.GetFilePathString().View();
  SetPath(state->path, path);
  if (!other) return true;
  const bool saved = !state->changed;
  Drop(*state);
  state->loaded = false;
  return saved;
}

bool IsXMLConfigSet(int scope) {
  const ConfigScope* const state = ConfigScopeOf(scope);
  return state != nullptr && state->path != nullptr;
}

bool CreateConfigFile(COrvikFilePath path, int scope) {
  const ConfigScope* const state = ConfigScopeOf(scope);
  if (state == nullptr) return false;
  CComPtr<IORVIKXMLWriter> writer;
  if (IORVIKXMLWriter::CreateORVIKXMLWriter(&writer, path) < 0) return false;
  writer->OutputXMLHeader();
  writer->startElement("key");
  writer->WriteTextAttribute("name", kConfigRootName);
  writer->WriteTextAttribute("scope", state->name);
  writer->endElement("key");
  return true;
}

TiXmlElement* LoadXMLRootFromFile(int scope, bool from_temporary) {
  ConfigScope* const state = ConfigScopeOf(scope);
  if (state == nullptr || state->path == nullptr) return nullptr;
  const COrvikFilePath* const file = from_temporary ? state->temporary : state->path;
  if (file == nullptr) return nullptr;
  Drop(*state);
  state->document.reset(new TiXmlDocument());
  if (TiXmlHelper::InitializeTiXmlDocumentFromFile(state->document, *file) == S_OK) {
    TiXmlElement* const root = state->document->FirstChildElement();
    if (IsValidXMLConfigRoot(scope, root)) state->root = root;
  }
  return state->root;
}

TiXmlElement* FindXMLRootElement(int scope) {
  ConfigScope* const state = ConfigScopeOf(scope);
  if (state == nullptr || state->path == nullptr) return nullptr;
  if (!state->loaded) {
    LoadXMLRootFromFile(scope, false);
    state->loaded = true;
  }
  return state->root;
}

TiXmlElement* GetXMLConfigRootElement(int scope) {
  TiXmlElement* const root = FindXMLRootElement(scope);
  if (root != nullptr) return IsValidXMLConfigRoot(scope, root) ? root : nullptr;
  ConfigScope* const state = ConfigScopeOf(scope);
  if (state == nullptr || state->path == nullptr) return nullptr;
  // What could not be read before may be readable now.
  if (LoadXMLRootFromFile(scope, false) != nullptr) return state->root;
  if (!MoveAside(*state->path) || !MakeTemporary(*state)) return nullptr;
  if (!CreateConfigFile(*state->temporary, scope) || !LoadXMLRootFromFile(scope, true)) {
    RemoveTemporary(*state);
  }
  return state->root;
}

bool SaveXMLConfigFile(int scope) {
  ConfigScope* const state = ConfigScopeOf(scope);
  if (state == nullptr || state->path == nullptr || state->root == nullptr) return false;
  if (state->temporary == nullptr && !MakeTemporary(*state)) return false;
  const std::optional<std::string> temporary = PathForLibc(state->temporary->GetFilePathString());
  std::string content;
  if (!temporary || !Print(*state->document, content) ||
      host::WriteInPlace(*temporary, content) != 0) {
    RemoveTemporary(*state);
    return false;
  }
  if (!ReplaceReadOnlyToo(*state->path, content)) return false;
  RemoveTemporary(*state);
  state->changed = false;
  return true;
}

}  // namespace orvik
