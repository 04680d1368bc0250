#include "tools/orvikprefs/browse/browser.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "tools/orvikprefs/browse/value_text.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr Type kTypes[] = {Type::kString, Type::kInteger, Type::kReal, Type::kBoolean,
                           Type::kDate,   Type::kData,    Type::kArray};

Rows TypeRows() {
  std::vector<std::string> rows;
  for (const Type type : kTypes) rows.emplace_back(TypeName(type));
  return Rows::Of(std::move(rows));
}

// The mistake in a typed name, or "". Names may be empty.
std::string NameMistake(const std::string& name) {
  return FromUtf8(name) ? "" : "a name is UTF-8";
}

}  // namespace

// The value that the user saw is passed with the new one, so that a change by another process
// meanwhile makes a conflict and is not lost.
std::string Browser::Edit() {
  const Path path = model_->SelectedPath();
  const Value began = model_->At(path);
  if (!began) return ShownPath(path) + " does not exist";
  const Type type = began.type();
  const std::optional<std::string> line = LineOf(began);
  if (!line) return EditInEditor(path, began);
  const Value value = AskValue(type, *line);
  return value ? model_->Set(path, value, began) : "";
}

// Asks until the line is a value of the type; no value when the user cancelled.
Value Browser::AskValue(Type type, const std::string& text) {
  const auto check = [type](const std::string& line) {
    std::string mistake;
    FromLine(type, line, mistake);
    return mistake;
  };
  const std::optional<std::string> line = dialogs_.Ask({TypeName(type), text, check});
  std::string mistake;
  return line ? FromLine(type, *line, mistake) : Value();
}

// The text is JSON in a private file, which is removed when the editing ends. After a failure it is
// kept, and its name shown, if the user cancels: hours of work may be in it. An unchanged text
// changes nothing, even if the editor failed.
std::string Browser::EditInEditor(const Path& path, const Value& began) {
  if (path.empty()) return "the domain is edited key by key";
  const Type type = began.type();
  const std::string before = JsonText(began, JsonWriter::Layout::kIndented) + "\n";
  PrivateFile file(before);
  if (file.error() != 0) {
    return Quoted(file.path()) + " cannot be written: " + std::strerror(file.error());
  }
  for (;;) {
    terminal_.Suspend();
    const bool has_worked = RunEditor(Editor(), file.path());
    terminal_.Resume();
    std::string text;
    const int error = file.Read(text);
    const bool is_read = error == 0;
    if (is_read && text == before) return has_worked ? "" : "the editor failed; nothing is changed";
    std::string reason = "the editor failed";
    if (has_worked && is_read) {
      TextError mistake;
      const Value value = ReadJson(text, &mistake);
      if (value.type() == type) return model_->Set(path, value, began);
      reason = value ? std::string("this is not ") + TypeForm(type) : mistake.Message();
    }
    if (dialogs_.AskLetter(reason, "e edit again", "e") != 0) continue;
    if (error == ENOENT) return "nothing is changed";
    file.Preserve();
    return "nothing is changed; the text is kept in " + Quoted(file.path());
  }
}

// An array starts empty and opens in the editor; values of other types are typed in a line.
std::string Browser::AddValue() {
  Path path = model_->selected_key_path();
  const std::optional<int> row = dialogs_.Choose({"Type of the new value", TypeRows()});
  if (!row) return "";
  const Type type = kTypes[*row];
  if (std::string mistake = AskName("name", path); !mistake.empty() || path.empty()) return mistake;
  if (model_->At(path)) return ShownPath(path) + " exists already";
  const Value value = type == Type::kArray ? ParseValue(type, "[]") : AskValue(type, std::string());
  if (!value) return "";
  std::string mistake_of_adding = model_->Add(path, value);
  model_->Reveal(path);
  return type == Type::kArray && mistake_of_adding.empty() ? EditInEditor(path, value)
                                                           : mistake_of_adding;
}

// Asks for the name of the new entry below the path and appends it; an array element needs no name.
// The path is empty when the user cancelled.
std::string Browser::AskName(const char* label, Path& path) {
  const Value key = model_->At(path);
  if (!IsContainer(key)) return ShownPath(path) + " does not exist";
  if (key.is_array()) {
    path.push_back(std::to_string(key.elements().size()));
    return "";
  }
  const std::optional<std::string> name = dialogs_.Ask({label, "", NameMistake});
  name ? path.push_back(*name) : path.clear();
  return "";
}

std::string Browser::AddKey() {
  Path path = model_->selected_key_path();
  if (std::string mistake = AskName("new key", path); !mistake.empty() || path.empty()) {
    return mistake;
  }
  std::string mistake = model_->Add(path, Value::Dictionary());
  model_->Reveal(path);
  return mistake;
}

// A rename is a move within the key, so undo, conflicts and order work as for a move.
std::string Browser::Rename() {
  const Path path = model_->SelectedPath();
  if (path.empty()) return "the domain cannot be renamed";
  const std::optional<std::string> name = dialogs_.Ask({"new name", path.back(), NameMistake});
  if (!name) return "";
  Path to = path;
  to.back() = *name;
  return Arrive(model_->Move(path, to), to, "moved to ");
}

// Tab completes the target path, which may be missing.
std::string Browser::MoveOrCopy(bool copy) {
  const Path path = model_->SelectedPath();
  if (path.empty()) return "the domain stays where it is";
  const auto complete = [this](const std::string& text) {
    return CompletedPath(model_->tree(), text);
  };
  const std::optional<std::string> text =
      dialogs_.Ask({copy ? "copy to" : "move to", "/" + JoinedPath(path), {}, complete});
  if (!text) return "";
  const Path to = TypedPath(*text);
  if (to.empty()) return "a path has a name";
  return copy ? Arrive(model_->Copy(path, to), to, "copied to ")
              : Arrive(model_->Move(path, to), to, "moved to ");
}

// Converts if nothing is lost; otherwise asks, starting with the old text.
std::string Browser::ChangeType() {
  const Path path = model_->SelectedPath();
  const Value began = model_->At(path);
  if (!began) return ShownPath(path) + " does not exist";
  if (began.is_dictionary()) return "the type of a key cannot be changed";
  const Type old_type = began.type();
  const auto* const present = std::find(std::begin(kTypes), std::end(kTypes), old_type);
  const std::optional<int> row = dialogs_.Choose({"Type of " + ShownPath(path), TypeRows()},
                                                 static_cast<int>(present - std::begin(kTypes)));
  if (!row || kTypes[*row] == old_type) return "";
  const Type type = kTypes[*row];
  Value value = Converted(began, type);
  if (!value) value = AskValue(type, LineOf(began).value_or(""));
  return value ? model_->Set(path, value, began) : "";
}

// Compares the values that the user saw again after the question, all of them before the first is
// deleted.
std::string Browser::DeletePicked() {
  const std::vector<Path> paths = model_->picked();
  std::vector<Value> began;
  began.reserve(paths.size());
  for (const Path& path : paths) began.push_back(model_->At(path));
  const std::string question = "delete " + Counted(paths.size(), "picked row", "picked rows") +
                               ", the first of them " + ShownPath(paths.front()) + "?";
  const int key = dialogs_.AskLetter(question, "y delete  n pick none", "yn");
  if (key == 'n') model_->PickNone();
  if (key != 'y') return "";
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (model_->At(paths[i]) == began[i]) continue;
    return "nothing is deleted: another process changed " + ShownPath(paths[i]) + " meanwhile";
  }
  const std::string refusal = model_->RemoveAll(paths);
  model_->PickNone();
  return refusal.empty() ? "deleted " + std::to_string(paths.size()) + "; u takes it back"
                         : refusal;
}

// Asks only for keys: one key press brings a deleted value back.
std::string Browser::Delete() {
  const Path path = model_->SelectedPath();
  if (!model_->picked().empty()) return DeletePicked();
  if (path.empty()) return "the domain is deleted with orvikprefs reset";
  const Value began = model_->At(path);
  if (!began) return ShownPath(path) + " does not exist";
  if (began.is_dictionary()) {
    const std::string question =
        "delete " + ShownPath(path) + " with " + Counted(CountBelow(began), "entry?", "entries?");
    if (dialogs_.AskLetter(question, "y delete", "y") == 0) return "";
  }
  const std::string refusal = model_->Remove(path, began);
  return refusal.empty() ? "deleted " + ShownPath(path) + "; u takes it back" : refusal;
}

// After a change that was not refused, selects the row at its new path.
std::string Browser::Arrive(const std::string& refusal, const Path& path, const char* what) {
  if (!refusal.empty()) return refusal;
  model_->Reveal(path);
  return what + ShownPath(path);
}

}  // namespace orvik::prefstool::browse
