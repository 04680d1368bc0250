#include "tools/orvikprefs/browse/reading.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "host/replace_file.h"
#include "platform/core_foundation/data.h"
#include "tools/orvikprefs/browse/typed_path.h"
#include "tools/orvikprefs/browse/value_view.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"
#include "xml/base64.h"

namespace orvik::prefstool::browse {
namespace {

// Terminals take no more into the clipboard, or stop in the middle.
constexpr std::size_t kLongestCopy = 74994;

std::string Base64(const std::string& text) {
  const CAtlStringA encoded = ConvertRawBytesIntoBase64String(
      reinterpret_cast<const unsigned char*>(text.data()), static_cast<long>(text.size()), nullptr);
  return std::string(encoded.View());
}

}  // namespace

std::string Reading::View(const Path& path) {
  int selected = 0;
  for (;;) {
    const CFPropertyListRef value = FindIn(model_.tree(), path);
    const std::size_t version = model_.version();
    const int columns = terminal_.columns();
    int key = 0;
    const std::optional<int> row = dialogs_.Choose(
        {ShownPath(path),
         Rows::Of(ViewLines(value, FindIn(model_.base(), path), std::max(1, columns - 2))),
         "Up Down Page move  Esc back", "v",
         [&] { return model_.version() == version && terminal_.columns() == columns; }},
        selected, &key);
    if (key != Dialogs::kStale) return "";
    selected = row.value_or(0);
  }
}

std::string Reading::CopyPath(const Path& path) {
  terminal_.CopyToClipboard(Base64(JoinedPath(path)));
  return "path copied, if this terminal allows it";
}

std::string Reading::CopyValue(const Path& path) {
  const CFPropertyListRef value = FindIn(model_.tree(), path);
  if (value == nullptr) return ShownPath(path) + " does not exist";
  const std::string text = ValueText(value);
  if (text.size() > kLongestCopy) return "the value is too long for a terminal; x exports it";
  terminal_.CopyToClipboard(Base64(text));
  return "value copied, if this terminal allows it";
}

std::string Reading::Export(const Path& path) {
  const Value value = model_.At(path);
  if (!value) return ShownPath(path) + " does not exist";
  Dialogs::Question question;
  question.label = "export to file (.json or .plist)";
  question.check = [](const std::string& text) {
    return text.empty() ? "the file needs a name" : "";
  };
  const std::optional<std::string> file = dialogs_.Ask(question);
  if (!file) return "";
  const std::optional<std::string> bytes = ExportedBytes(value, *file);
  if (!bytes) return "the value cannot be written as XML; export it as .json";
  int error = host::CreateFile(*file, *bytes);
  if (error == EEXIST) {
    const int key = dialogs_.AskLetter(Quoted(*file) + " exists", "o overwrite", "o");
    if (key == 0) return "nothing is exported";
    error = host::ReplaceFile(*file, *bytes).error;
  }
  if (error != 0) return Quoted(*file) + " cannot be written: " + std::strerror(error);
  const bool has_changes = !model_.changes().empty();
  return "exported " + ShownPath(path) + " to " + Quoted(*file) +
         (has_changes ? ", with the changes that are not written" : "");
}

std::optional<std::string> ExportedBytes(CFPropertyListRef value, const std::string& file) {
  if (file.ends_with(".json")) return JsonText(value, JsonWriter::Layout::kIndented) + "\n";
  const CAutoCFRelease<CFDataRef> xml(CFPropertyListCreateXMLData(kCFAllocatorDefault, value));
  if (!xml) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(xml)),
                     static_cast<std::size_t>(CFDataGetLength(xml)));
}

}  // namespace orvik::prefstool::browse
