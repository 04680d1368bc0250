#include "xml/config_scope.h"

#include <tinyxml.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "files/file_manipulator.h"
#include "files/path_arguments.h"
#include "files/whole_file.h"
#include "host/keep_beside.h"
#include "host/replace_file.h"
#include "host/trust.h"
#include "streams/com_ptr.h"
#include "xml/config_index.h"
#include "xml/config_store.h"
#include "xml/document_check.h"
#include "xml/tixml_helper.h"
#include "xml/xml_writer.h"

namespace orvik {

namespace {

// Recursive: a loaded document has at most kMostXmlDepth levels.
std::unique_ptr<TiXmlElement> Copied(const TiXmlElement& element,
                                     const std::shared_ptr<ConfigIndex>& index) {
  auto copy = std::make_unique<ConfigElement>(element.Value(), index);
  for (const TiXmlAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
       attribute = attribute->Next()) {
    copy->SetAttribute(attribute->Name(), attribute->Value());
  }
  for (const TiXmlNode* child = element.FirstChild(); child != nullptr;
       child = child->NextSibling()) {
    const TiXmlElement* const inner = child->ToElement();
    copy->LinkEndChild(inner == nullptr ? child->Clone() : Copied(*inner, index).release());
  }
  return copy;
}

}  // namespace

ConfigElement::ConfigElement(const char* tag, std::weak_ptr<ConfigIndex> index)
    : TiXmlElement(tag), index_(std::move(index)) {}

ConfigElement::~ConfigElement() {
  if (const std::shared_ptr<ConfigIndex> index = index_.lock()) index->Forget(this);
}

void MakeConfigElements(TiXmlDocument& document, const std::shared_ptr<ConfigIndex>& index) {
  TiXmlNode* const last = document.LastChild();
  for (bool is_done = last == nullptr; !is_done;) {
    TiXmlNode* const old = document.FirstChild();
    const TiXmlElement* const element = old->ToElement();
    is_done = old == last;
    document.LinkEndChild(element == nullptr ? old->Clone() : Copied(*element, index).release());
    document.RemoveChild(old);
  }
}

namespace {

// Never destroyed: destructors of a program may still save.
union Document {
  constexpr Document() : pointer() {}
  ~Document() {}  // NOLINT(modernize-use-equals-default): the default would be deleted
  boost::shared_ptr<TiXmlDocument> pointer;
};
constinit Document global_document;
constinit Document local_document;

}  // namespace

COrvikFilePath* g_pathGlobalXMLConfig = nullptr;
COrvikFilePath* g_pathTempGlobalXMLConfig = nullptr;
constinit boost::shared_ptr<TiXmlDocument>& g_pGlobalXMLConfigDoc = global_document.pointer;
TiXmlElement* g_pGlobalXMLConfigRootElement = nullptr;
bool g_bGlobalXMLConfigFileLoaded = false;

COrvikFilePath* g_pathLocalXMLConfig = nullptr;
COrvikFilePath* g_pathTempLocalXMLConfig = nullptr;
constinit boost::shared_ptr<TiXmlDocument>& g_pLocalXMLConfigDoc = local_document.pointer;
TiXmlElement* g_pLocalXMLConfigRootElement = nullptr;
bool g_bLocalXMLConfigFileLoaded = false;

namespace {

constexpr char kRootName[] = "ORVIK Technologies";
constexpr char kDiscarded[] = ".discarded";

void SetPathIn(COrvikFilePath*& slot, const COrvikFilePath& path) {
  delete std::exchange(slot, new COrvikFilePath(path));
}

bool HasAttribute(const TiXmlElement* element, const char* name, const char* value) {
  return HasFoldedName(element->Attribute(name), FoldedConfigName(value));
}

// Replaces by U+FFFD the characters that XML does not allow but earlier versions wrote: a reference
// of two digits, or the bytes of U+FFFE and U+FFFF. False when the text has none.
bool Repair(std::string& text) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  bool is_repaired = false;
  const auto replace = [&](std::size_t at, std::size_t length) {
    text.replace(at, length, kReplacement);
    is_repaired = true;
  };
  for (std::size_t at = 0; (at = text.find("&#x", at)) != std::string::npos; ++at) {
    const std::string_view reference = std::string_view(text).substr(at, 6);
    if (reference.size() < 6 || reference[5] != ';' || reference[3] < '0' || reference[3] > '1') {
      continue;
    }
    const std::string_view digits = reference.substr(3, 2);
    if (digits != "09" && digits != "0A" && digits != "0D") replace(at, reference.size());
  }
  for (std::size_t at = 0; (at = text.find("\xEF\xBF", at)) != std::string::npos; ++at) {
    const std::string_view rest = std::string_view(text).substr(at);
    if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) replace(at, 3);
  }
  return is_repaired;
}

// Appends to the stream's string. 0 makes the stream report the failure.
ssize_t AppendToText(void* text, const char* bytes, std::size_t count) noexcept {
  try {
    static_cast<std::string*>(text)->append(bytes, count);
    return static_cast<ssize_t>(count);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

}  // namespace

ConfigScope::ConfigScope(const char* name, COrvikFilePath*& path, COrvikFilePath*& temporary,
                         boost::shared_ptr<TiXmlDocument>& document, TiXmlElement*& root,
                         bool& loaded)
    : name_(name),
      path_(path),
      temporary_(temporary),
      document_(document),
      root_(root),
      loaded_(loaded) {}

ConfigScope* ConfigScope::Of(int scope) {
  // Never destroyed: destructors of static objects may still save.
  static auto* const global = new ConfigScope(
      "Global", g_pathGlobalXMLConfig, g_pathTempGlobalXMLConfig, g_pGlobalXMLConfigDoc,
      g_pGlobalXMLConfigRootElement, g_bGlobalXMLConfigFileLoaded);
  static auto* const user =
      new ConfigScope("User", g_pathLocalXMLConfig, g_pathTempLocalXMLConfig, g_pLocalXMLConfigDoc,
                      g_pLocalXMLConfigRootElement, g_bLocalXMLConfigFileLoaded);
  return scope == 0 ? global : scope == 1 ? user : nullptr;
}

// The documents are compared, not their addresses: a new document may have the address of an old
// one.
ConfigScope::Known& ConfigScope::known() {
  if (document_ == nullptr || known_.document.lock() != document_) {
    known_ = {};
    known_.document = document_;
  }
  return known_;
}

std::shared_ptr<ConfigIndex> ConfigScope::IndexOf(const TiXmlElement* element) {
  for (const int scope : {0, 1}) {
    ConfigScope& state = *Of(scope);
    if (state.document_ != nullptr && state.document_.get() == element->GetDocument()) {
      return state.index();
    }
  }
  return nullptr;
}

TiXmlElement* ConfigScope::HandOut(TiXmlElement* element) {
  if (element != nullptr) index()->MayHaveChanged();
  return element;
}

bool ConfigScope::SetPath(const COrvikFilePath& path) {
  const bool is_other =
      has_path() && path_->GetFilePathString().View() != path.GetFilePathString().View();
  SetPathIn(path_, path);
  if (!is_other) return true;
  const bool is_saved = !known().is_changed;
  root_ = nullptr;
  document_.reset();
  loaded_ = false;
  return is_saved;
}

bool ConfigScope::IsValidRoot(const TiXmlElement* element) const {
  return element != nullptr && element->Parent() != nullptr &&
         element->Parent()->Type() == TiXmlNode::TINYXML_DOCUMENT &&
         HasAttribute(element, "name", kRootName) && HasAttribute(element, "scope", name_);
}

CAtlStringA ConfigScope::NewText() const {
  CComPtr<IORVIKXMLWriter> writer;
  IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer);
  writer->OutputXMLHeader();
  writer->startElement("key");
  writer->WriteTextAttribute("name", kRootName);
  writer->WriteTextAttribute("scope", name_);
  writer->endElement("key");
  return writer->get_output();
}

bool ConfigScope::CreateFile(const COrvikFilePath& path) const {
  return WriteWholeFile(path, NewText().View());
}

TiXmlElement* ConfigScope::Load(bool from_temporary) {
  const COrvikFilePath* const file = from_temporary ? temporary_ : path_;
  if (!has_path() || file == nullptr) return nullptr;
  root_ = nullptr;
  document_.reset(new TiXmlDocument());
  file_info_ = {XMLConfigFileState::kUsable, *file, {}};
  if (TiXmlHelper::InitializeTiXmlDocumentFromFile(document_, *file, &file_info_.error) < 0) {
    file_info_.state = !file->FileExists()          ? XMLConfigFileState::kMissing
                       : file_info_.error.line == 0 ? XMLConfigFileState::kUnreadable
                                                    : XMLConfigFileState::kDamaged;
    if (file_info_.state != XMLConfigFileState::kDamaged || !LoadRepaired(*file)) return nullptr;
  }
  MakeConfigElements(*document_, index());
  TiXmlElement* const root = document_->FirstChildElement();
  if (!IsValidRoot(root)) {
    file_info_.state = XMLConfigFileState::kOtherRoot;
    return nullptr;
  }
  return root_ = root;
}

bool ConfigScope::LoadRepaired(const COrvikFilePath& file) {
  const std::optional<std::string> path = PathForLibc(file.GetFilePathString());
  std::string text;
  if (!path || host::ReadWholeFile(*path, &text) != 0 || !Repair(text)) return false;
  document_.reset(new TiXmlDocument());
  if (TiXmlHelper::InitializeTiXmlDocumentFromText(document_, text.c_str()) < 0) return false;
  known().is_not_the_file = true;
  return true;
}

TiXmlElement* ConfigScope::Root() {
  if (!has_path()) return nullptr;
  if (!std::exchange(loaded_, true)) Load(false);
  return root_;
}

TiXmlElement* ConfigScope::RootOrNew() {
  if (TiXmlElement* const root = Root()) return IsValidRoot(root) ? root : nullptr;
  // The file may have become readable since the last try.
  if (!has_path() || Load(false) != nullptr) return root_;
  if (!CanKeepAside()) return nullptr;
  document_.reset(new TiXmlDocument());
  TiXmlHelper::InitializeTiXmlDocumentFromText(document_, NewText().GetString());
  known().is_not_the_file = true;
  MakeConfigElements(*document_, index());
  return root_ = document_->FirstChildElement();
}

bool ConfigScope::CanKeepAside() const {
  const std::optional<std::string> path = PathForLibc(path_->GetFilePathString());
  if (!path_->FileExists()) return true;
  if (!path) return false;
  const host::FilePlace place = host::FindPlace(*path, host::Links::kTrusted);
  struct stat file;
  const int error = place ? host::StatEntry(place, &file) : place.error;
  if (error == ENOENT) return true;
  return error == 0 && S_ISREG(file.st_mode) && host::NewNameAccess(place) == 0;
}

// In TinyXML's own layout. A memory stream of the C library would lose text without an error when
// memory is lacking.
bool ConfigScope::Print(std::string& text) const {
  std::FILE* const stream = fopencookie(&text, "w", {nullptr, AppendToText, nullptr, nullptr});
  if (stream == nullptr) return false;
  char buffer[4096];
  std::setvbuf(stream, buffer, _IOFBF, sizeof buffer);
  const bool is_printed = document_->SaveFile(stream);
  const bool is_closed = std::fclose(stream) == 0;
  return is_printed && is_closed;
}

bool ConfigScope::Save() {
  if (!has_path() || root_ == nullptr) return false;
  const std::optional<std::string> path = PathForLibc(path_->GetFilePathString());
  std::string content;
  if (!path || !Print(content)) return false;
  // Elements that the caller added may make a document that cannot be loaded again.
  if (index()->is_shared() && !CheckDocument(content.c_str(), nullptr)) return false;
  const host::FilePlace place = host::FindPlace(*path, host::Links::kTrusted);
  if (!place) return false;
  host::KeptFile kept;
  bool is_readable = true;
  if (known().is_not_the_file) {
    std::string old;
    host::OpenedFile opened;
    const int error = host::ReadWholeFile(place, host::kNoSizeLimit, &old, &opened);
    if (error == EISDIR || error == EINVAL) return false;
    is_readable = error == 0 || error == ENOENT;
    if (!is_readable) {
      kept = host::KeepUnreadBeside(place, kDiscarded);
    } else if (!old.empty()) {
      kept = host::KeepBeside(place, old, host::Flush::kToDisk, kDiscarded);
    }
    if (kept.error != 0) return false;
  }
  const host::ReplaceResult result =
      is_readable ? host::ReplaceFile(*path, content, {.read_only = host::ReadOnly::kReplace})
                  : host::SupersedeFile(place, content);
  // If the file was replaced but could not be flushed, it still contains the document.
  if (result.wrote || result.error == 0) {
    known().is_not_the_file = false;
  } else {
    host::RestoreKept(kept, place);
  }
  if (result.error != 0) return false;
  known().is_changed = false;
  file_info_ = {XMLConfigFileState::kUsable, *path_, {}};
  return true;
}

const XMLConfigFileInfo& ConfigScope::file_info() {
  static const XMLConfigFileInfo kNotSet;
  if (!has_path()) return kNotSet;
  Root();
  return file_info_;
}

}  // namespace orvik
