#include "tools/orvikprefs/browse/editing.h"

#include <optional>
#include <vector>

#include "tools/orvikprefs/browse/typed_path.h"
#include "tools/orvikprefs/browse/value_form.h"
#include "tools/orvikprefs/editor.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

std::string NameMistake(const std::string& name) {
  return FromUtf8(name) ? "" : "a name is UTF-8";
}

}  // namespace

std::string Editing::Edit(const Path& path) {
  const CFPropertyListRef value = FindIn(model_.tree(), path);
  if (value == nullptr) return "";
  const ValueType type = TypeOf(value);
  const std::optional<std::string> line = LineOf(value);
  if (!line) return EditInEditor(path, type);
  Dialogs::Question question;
  question.label = TypeName(type);
  question.text = *line;
  question.check = [type](const std::string& text) {
    std::string mistake;
    FromLine(type, text, mistake);
    return mistake;
  };
  const std::optional<std::string> text = dialogs_.Ask(question);
  if (!text || *text == *line) return "";
  std::string mistake;
  return model_.Set(path, FromLine(type, *text, mistake));
}

std::string Editing::EditInEditor(const Path& path, ValueType type) {
  if (path.empty()) return "the domain is edited key by key";
  PrivateFile file(JsonText(FindIn(model_.tree(), path), JsonWriter::Layout::kIndented) + "\n");
  if (file.error() != 0) return "a temporary file cannot be written";
  for (;;) {
    terminal_.Suspend();
    std::string text;
    const bool is_read = RunEditor(Editor(), file.path()) && ReadWhole(file.path(), text) == 0;
    terminal_.Resume();
    if (!is_read) return "the editor failed; nothing is changed";
    TextError mistake;
    const Value value = ReadJson(text, &mistake);
    if (value && TypeOf(value) == type) return model_.Set(path, value);
    const std::string reason =
        value ? std::string("this is not ") + TypeForm(type) : mistake.Message();
    if (dialogs_.AskLetter(reason + ": e edit again, Esc give up", "e") == 0) return "";
  }
}

std::string Editing::AddValue() {
  static constexpr ValueType kTypes[] = {ValueType::kString,  ValueType::kInteger, ValueType::kReal,
                                         ValueType::kBoolean, ValueType::kDate,    ValueType::kData,
                                         ValueType::kArray};
  std::vector<std::string> rows;
  for (const ValueType type : kTypes) rows.emplace_back(TypeName(type));
  Path path = model_.PathOf(model_.selected_key());
  const std::optional<int> row = dialogs_.Choose({"Type of the new value", rows, "", ""});
  if (!row) return "";
  const ValueType type = kTypes[*row];
  const std::optional<std::string> name = dialogs_.Ask({"name", "", NameMistake, {}, {}});
  if (!name) return "";
  path.push_back(*name);
  if (FindIn(model_.tree(), path) != nullptr) return ShownPath(path) + " exists already";
  std::string mistake;
  Value value;
  if (type == ValueType::kArray) {
    value = ParseValue(type, "[]");
  } else {
    Dialogs::Question question;
    question.label = TypeName(type);
    question.check = [type](const std::string& text) {
      std::string wrong;
      FromLine(type, text, wrong);
      return wrong;
    };
    const std::optional<std::string> text = dialogs_.Ask(question);
    if (!text) return "";
    value = FromLine(type, *text, mistake);
  }
  std::string mistake_of_adding = model_.Add(path, value);
  reveal_(path);
  return type == ValueType::kArray ? EditInEditor(path, type) : mistake_of_adding;
}

std::string Editing::AddKey() {
  Path path = model_.PathOf(model_.selected_key());
  const std::optional<std::string> name = dialogs_.Ask({"new key", "", NameMistake, {}, {}});
  if (!name) return "";
  path.push_back(*name);
  std::string mistake = model_.Add(path, EmptyTree().Get());
  reveal_(path);
  return mistake;
}

std::string Editing::Rename(const Path& path) {
  if (path.empty()) return "the domain has no other name";
  const std::optional<std::string> name =
      dialogs_.Ask({"new name", path.back(), NameMistake, {}, {}});
  if (!name) return "";
  Path to = path;
  to.back() = *name;
  return model_.Move(path, to);
}

std::string Editing::MoveOrCopy(const Path& path, bool copy) {
  if (path.empty()) return "the domain stays where it is";
  Dialogs::Question question;
  question.label = copy ? "copy to" : "move to";
  question.text = "/" + JoinedPath(path);
  question.complete = [this](const std::string& text) {
    return CompletedPath(model_.tree(), text);
  };
  const std::optional<std::string> text = dialogs_.Ask(question);
  if (!text) return "";
  const Path to = TypedPath(*text);
  if (to.empty()) return "a path has a name";
  return copy ? model_.Copy(path, to) : model_.Move(path, to);
}

std::string Editing::Delete(const Path& path) {
  if (path.empty()) return "the domain is deleted with orvikprefs reset";
  const CFPropertyListRef value = FindIn(model_.tree(), path);
  if (IsDictionary(value)) {
    const std::size_t count = CountBelow(static_cast<CFDictionaryRef>(value));
    const std::string question = "delete " + ShownPath(path) + " with " + std::to_string(count) +
                                 (count == 1 ? " entry" : " entries") + "? y, Esc";
    if (dialogs_.AskLetter(question, "y") == 0) return "";
  }
  return model_.Remove(path);
}

}  // namespace orvik::prefstool::browse
