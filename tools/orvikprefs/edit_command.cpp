#include <unistd.h>

#include <iostream>

#include "platform/core_foundation/property_list_equality.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/address.h"
#include "tools/orvikprefs/backup.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/editor.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/tree_changes.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

using Dictionary = CAutoCFRelease<CFDictionaryRef>;

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

// What the person made of the text; null after a message, with the exit status.
Dictionary EditedText(const Context& context, PrivateFile& file, int& status) {
  const std::string editor = Editor();
  for (;;) {
    if (!RunEditor(editor, file.path())) {
      status = context.Fail(kNotSaved, "the editor " + Quoted(editor) + " failed; nothing changed");
      return Dictionary();
    }
    std::string text;
    if (const int error = ReadWhole(file.path(), text); error != 0) {
      status = context.FailFile(file.path(), error, false);
      return Dictionary();
    }
    TextError mistake;
    CAutoCFRelease<CFPropertyListRef> root = ReadJson(text, &mistake);
    if (root && !IsDictionary(root)) {
      root.Free();
      mistake = ErrorAt(text, 0, "this is no object");
    }
    if (root) return Dictionary(static_cast<CFDictionaryRef>(root.Detach()));
    status = context.Fail(kUsage, mistake.Message());
    *context.error << "  " << Escaped(LineAt(text, mistake.line)).substr(0, 200) << '\n';
    if (!WantsToGoOn(context)) {
      file.Keep();
      context.Fail(kUsage, "nothing changed; the text is kept in " + Quoted(file.path()));
      return Dictionary();
    }
  }
}

}  // namespace

int Edit(const Context& context, const CommandLine& line) {
  const KeyPath key = KeyAt(line);
  const std::string what = KeyText(key);
  const PrefResult<CFDictionaryRef> found = CopyPreferenceKey(context.scope, key, context.domain);
  if (!found.ok() && found.status.error != PrefError::kNotFound) {
    return context.Fail(found.status, what, true);
  }
  const std::string before =
      found.ok() ? JsonText(found.value.Get(), JsonWriter::Layout::kIndented) : std::string("{}");
  PrivateFile file(before + "\n");
  if (file.error() != 0) return context.FailFile("the file to edit", file.error(), true);
  int status = kDone;
  const Dictionary edited = EditedText(context, file, status);
  if (!edited) return status;

  // Against what JSON shows of the old values, so that those that were not touched stay to the bit.
  TextError error;
  const CAutoCFRelease<CFPropertyListRef> shown = ReadJson(before, &error);
  Transaction transaction = context.Change();
  transaction.RequireKeyEqual(key, found.value);
  if (IsSameValue(shown, edited)) {
    context.Confirm("nothing changed");
    return kDone;
  }
  transaction.MakeKey(key);
  AddTreeChanges(transaction, key, static_cast<CFDictionaryRef>(shown.Get()), edited);
  Backup backup(context, line.Has("--backup"));
  backup.AddTo(transaction);
  const PrefStatus saved = transaction.Commit();
  if (!saved.ok()) file.Keep();
  if (backup.Failed()) return kNotSaved;
  if (!saved.ok()) backup.Discard();
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
