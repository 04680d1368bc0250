#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <ostream>

#include "plist/forms.h"
#include "plist/sink.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// A JSON object could be mistaken for the old text form of a property list, which may also begin
// with a brace. Only in JSON a quote or a closing brace follows it.
bool LooksLikeJson(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  const auto next = [&] {
    const std::size_t at = bytes.find_first_not_of(" \t\r\n");
    bytes.remove_prefix(at == std::string_view::npos ? bytes.size() : at + 1);
    return at == std::string_view::npos || bytes.data() == nullptr ? '\0' : bytes.data()[-1];
  };
  const char first = next();
  if (first == '[') return true;
  if (first != '{') return false;
  const char second = next();
  return second == '"' || second == '}';
}

// The property list in the bytes, in any form: JSON if it looks like JSON, else XML, binary or the
// old text form. Invalid JSON may still be the old text form. For invalid bytes no value, and the
// reason.
Value ReadAnyForm(std::string bytes, std::string& reason) {
  const bool looks_like_json = LooksLikeJson(bytes);
  TextError error;
  Value root;
  if (looks_like_json) root = ReadJson(bytes, &error);
  if (root) return root;
  plist::Reading reading = plist::Read(std::make_shared<const std::string>(std::move(bytes)));
  if (!reading.root) {
    reason = looks_like_json ? "not JSON: " + error.Message() : "neither a property list nor JSON";
    if (!looks_like_json && !reading.error.empty()) reason += ": " + Escaped(reading.error);
  }
  return std::move(reading.root);
}

// The dictionary in a file of any form; otherwise no value, a message and the exit status.
Value ReadDictionary(const Context& context, const std::string& file, int& status) {
  std::string bytes;
  if (const int error = ReadWhole(file, bytes); error != 0) {
    status = context.FailFile(file, error, false);
    return {};
  }
  std::string reason;
  Value root = ReadAnyForm(std::move(bytes), reason);
  if (root.is_dictionary()) return root;
  if (root) reason = "its root is not a dictionary";
  status = context.Fail(kDamagedFile, Quoted(file) + ": " + reason);
  return {};
}

// On a terminal control characters of the store must not act. XML can write each of them as a
// number, so that the list shown is still the same list.
std::string HarmlessXml(const std::string& xml) {
  std::string shown;
  for (std::size_t i = 0; i < xml.size();) {
    const std::optional<ControlCharacter> control = ControlAt(xml, i);
    if (control && xml[i] != '\n' && xml[i] != '\t') {
      shown += "&#" + std::to_string(static_cast<unsigned>(control->point)) + ";";
    } else {
      shown.append(xml, i, control ? control->length : 1);
    }
    i += control ? control->length : 1;
  }
  return shown;
}

std::string LineAt(const std::string& text, std::size_t number) {
  std::size_t begin = 0;
  for (; number > 1 && begin != std::string::npos; --number) begin = text.find('\n', begin) + 1;
  return text.substr(begin, text.find('\n', begin) - begin);
}

bool WantsToGoOn(const Context& context) {
  if (isatty(STDIN_FILENO) == 0) return false;
  *context.error << "Edit again? [Y/n] ";
  context.error->flush();
  std::string answer;
  return static_cast<bool>(std::getline(std::cin, answer)) &&
         (answer.empty() || answer[0] == 'y' || answer[0] == 'Y');
}

// Keeps a text that could not be used: hours of work may be in it.
void KeepText(const Context& context, PrivateFile& file) {
  file.Preserve();
  context.Fail(kNotSaved, "nothing changed; the text is kept in " + Quoted(file.path()));
}

// The edited dictionary; otherwise no value, a message and the exit status. For a text with a
// mistake the line is shown, and the user may edit again on a terminal; otherwise it is kept, like
// every text other than `before`.
Value EditedText(const Context& context, const std::string& before, PrivateFile& file,
                 int& status) {
  const std::string editor = Editor();
  for (;;) {
    const bool has_worked = RunEditor(editor, file.path());
    std::string text;
    const int error = file.Read(text);
    const bool is_left = error == ENOENT || (error == 0 && text == before);
    if (!has_worked) {
      status = context.Fail(kNotSaved, "the editor " + Quoted(editor) + " failed" +
                                           (is_left ? "; nothing changed" : ""));
    } else if (error != 0) {
      status = context.FailFile(file.path(), error, false);
    }
    if (!has_worked || error != 0) {
      if (!is_left) KeepText(context, file);
      return {};
    }
    TextError mistake;
    Value root = ReadJson(text, &mistake);
    if (root.is_dictionary()) return root;
    if (root) mistake = ErrorAt(text, 0, "this is not an object");
    status = context.Fail(kUsage, mistake.Message());
    *context.error << "  " << Escaped(LineAt(text, mistake.line)).substr(0, 200) << '\n';
    if (!WantsToGoOn(context)) {
      KeepText(context, file);
      return {};
    }
  }
}

}  // namespace

int Export(const Context& context, const CommandLine& line) {
  const Progress progress(context, "exporting");
  const KeyPath key = KeyAt(line);
  const std::string file = line.Value("--output", "-");
  const PrefValue found = ReadPreferenceKey(context.scope, key, context.domain);
  if (!found.ok()) return FailToReadKey(context, found.status, key);
  const std::string format = line.Value("--format", context.json ? "json" : "xml");
  if (format == "binary" && file == "-" && context.terminal) {
    return context.Fail(kUsage,
                        "a binary property list is not printed on a terminal; give --output");
  }
  std::string bytes;
  if (format == "json") {
    bytes = JsonText(found.value, JsonWriter::Layout::kIndented) + "\n";
    if (bytes.size() > plist::kMaximumFileSize) {
      return context.Fail({PrefError::kTooLarge}, KeyText(key), true);
    }
  } else {
    std::optional<std::string> list =
        format == "binary" ? plist::WriteBinary(found.value) : plist::WriteXml(found.value);
    if (!list) return context.Fail({PrefError::kTooLarge}, KeyText(key), true);
    bytes = *std::move(list);
    if (file == "-" && context.terminal) bytes = HarmlessXml(bytes);
  }
  const int status = WriteWhole(context, file, bytes);
  if (status == kDone && file != "-") context.Confirm("exported to " + Quoted(file));
  return status;
}

int Import(const Context& context, const CommandLine& line) {
  const Progress progress(context, "importing");
  const std::string file = line.Argument(0);
  int status = kDone;
  const Value added = ReadDictionary(context, file, status);
  if (!added) return status;
  const KeyPath key = KeyAt(line, 1);
  Transaction transaction = context.Change();
  const ReplaceKeys replace = line.Has("--replace-key") ? ReplaceKeys::kYes : ReplaceKeys::kNo;
  if (line.Has("--replace")) {
    ReplaceKey(transaction, key, added, replace);
  } else {
    transaction.Merge(key, added, replace);
  }
  const bool dry_run = line.Has("--dry-run");
  const Carried carried = CarryOut(context, transaction, line.Has("--backup"), dry_run);
  if (!carried.has_copy) return kNotSaved;
  const PrefStatus& saved = carried.status;
  if (saved.error == PrefError::kIsAKey || saved.error == PrefError::kIsAValue) {
    return context.Fail(saved, Quoted(file) + " is not imported", true,
                        "--replace-key replaces it");
  }
  if (!saved.ok()) return context.Fail(saved, Quoted(file) + " is not imported", true);
  if (dry_run) {
    PrintDifferences(context, Differences(carried.result.before, carried.result.after));
  } else {
    if (!carried.backup.empty())
      context.Confirm("the old file is kept as " + Quoted(carried.backup));
    context.Confirm("imported " + Quoted(file));
  }
  return kDone;
}

int Diff(const Context& context, const CommandLine& line) {
  int status = kDone;
  const Value other = ReadDictionary(context, line.Argument(0), status);
  if (!other) return status;
  const KeyPath key = KeyAt(line, 1);
  const PrefValue present = ReadPreferenceKey(context.scope, key, context.domain);
  if (!present.ok() && present.status.error != PrefError::kNotFound) {
    return FailToReadKey(context, present.status, key);
  }
  const std::vector<Difference> differences = Differences(present.value, other, PathOf(key));
  PrintDifferences(context, differences);
  return line.Has("--exit-code") && !differences.empty() ? kConditionNotMet : kDone;
}

int Edit(const Context& context, const CommandLine& line) {
  const KeyPath key = KeyAt(line);
  const std::string what = KeyText(key);
  const PrefValue found = ReadPreferenceKey(context.scope, key, context.domain);
  if (!found.ok() && found.status.error != PrefError::kNotFound) {
    return FailToReadKey(context, found.status, key);
  }
  const std::string before =
      (found.ok() ? JsonText(found.value, JsonWriter::Layout::kIndented) : "{}") + "\n";
  PrivateFile file(before);
  if (file.error() != 0) return context.FailFile(file.path(), file.error(), true);
  int status = kDone;
  const Value edited = EditedText(context, before, file, status);
  if (!edited) return status;

  // Compares with the JSON form of the old values, so that untouched values stay to the bit.
  TextError error;
  const Value shown = ReadJson(before, &error);
  Transaction transaction = context.Change();
  transaction.RequireKeyEqual(key, found.value);
  if (shown == edited) {
    context.Confirm("nothing changed");
    return kDone;
  }
  transaction.MakeKey(key);
  AddTreeChanges(transaction, key, shown, edited);
  const Carried carried = CarryOut(context, transaction, line.Has("--backup"));
  const PrefStatus& saved = carried.status;
  if (!saved.ok()) file.Preserve();
  if (!carried.has_copy) {
    KeepText(context, file);
    return kNotSaved;
  }
  if (saved.error == PrefError::kConditionNotMet) {
    return context.Fail(kConditionNotMet, what +
                                              " has changed meanwhile; nothing was saved, the "
                                              "text is kept in " +
                                              Quoted(file.path()));
  }
  if (!saved.ok()) {
    return context.Fail(saved, what + " (the text is kept in " + Quoted(file.path()) + ")", true);
  }
  context.Confirm("saved " + what);
  return kDone;
}

}  // namespace orvik::prefstool
