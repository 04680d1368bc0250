// The actions behind the browser's keys, by topic. Each asks what it needs in dialogs and returns a
// line to show, or "".
//
// The file may change while a dialog waits. An action therefore works on paths, not rows, and gives
// the value that the user saw to the draft, which makes a conflict of a value that is another by
// then.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "strings/atl_string.h"
#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/terminal.h"
#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

// Changes the tree of a model. Every function returns why it changed nothing, or "".
class Editing {
 public:
  // `reveal` selects what was added.
  Editing(Model& model, Dialogs& dialogs, Terminal& terminal,
          std::function<void(const Path&)> reveal)
      : model_(model), dialogs_(dialogs), terminal_(terminal), reveal_(std::move(reveal)) {}

  std::string Edit(const Path& path);
  // To the selected key.
  std::string AddValue();
  std::string AddKey();
  std::string Rename(const Path& path);
  std::string MoveOrCopy(const Path& path, bool copy);
  // The picked rows, or the one at the path when none is picked.
  std::string Delete(const Path& path);
  // Changes the type of a value. Asks for a new text when the old one has no meaning in the type.
  std::string ChangeType(const Path& path);

 private:
  // As JSON, in the user's editor.
  std::string EditInEditor(const Path& path, const Value& began);
  std::string DeletePicked();
  // A line that means a value of the type; no value when the user gave up.
  Value AskValue(Type type, const std::string& text);
  std::string AskName(const char* label, Path& path);
  // The refusal, or what was done; then the path is selected.
  std::string Report(const std::string& refusal, const Path& path, const char* what);

  Model& model_;
  Dialogs& dialogs_;
  Terminal& terminal_;
  std::function<void(const Path&)> reveal_;
};

// Shows a value or takes it out, and changes nothing.
class Reading {
 public:
  Reading(Model& model, Dialogs& dialogs, Terminal& terminal)
      : model_(model), dialogs_(dialogs), terminal_(terminal) {}

  // Shows a whole value, and the one from before its change.
  std::string View(const Path& path);
  // Copies into the clipboard of the terminal.
  std::string CopyPath(const Path& path);
  std::string CopyValue(const Path& path);
  // Writes the value as it is shown into a file: JSON for a name that ends in ".json", else an XML
  // property list.
  std::string Export(const Path& path);

 private:
  Model& model_;
  Dialogs& dialogs_;
  Terminal& terminal_;
};

// The bytes of Export; nothing for a value that the form cannot hold.
std::optional<std::string> ExportedBytes(const Value& value, const std::string& file);

// Shows and writes the changes that wait, and settles conflicts.
class Review {
 public:
  // `lock_wait` is that of Transaction::WaitAtMost.
  Review(Model& model, Dialogs& dialogs, std::optional<std::chrono::milliseconds> lock_wait)
      : model_(model), dialogs_(dialogs), lock_wait_(lock_wait) {}

  // Writes all changes, or nothing. Says for whom it waits, and stops waiting at Escape.
  std::string Apply();
  // Repairs a damaged file, once the user has seen what is lost.
  std::string Repair();
  std::string ShowChanges();
  std::string ShowConflicts();

 private:
  Model& model_;
  Dialogs& dialogs_;
  std::optional<std::chrono::milliseconds> lock_wait_;
};

// Leads to another row.
class Finding {
 public:
  explicit Finding(Dialogs& dialogs) : dialogs_(dialogs) {}

  // Drops the hits: another model is shown.
  void Forget() { hits_.clear(); }

  std::string SearchWhileTyping(Model& model);
  std::string NextHit(Model& model, int step);
  std::string GoToPath(Model& model);
  std::string FilterWhileTyping(Model& model);
  std::string NextChanged(Model& model, int step);

 private:
  Dialogs& dialogs_;
  std::vector<Path> hits_;
  std::size_t hit_ = 0;
};

inline constexpr int kScopes[] = {0, 1, 4};
// "shared", "user" or "machine"; of any scope.
const char* ScopeName(int scope);

struct Place {
  int scope;
  CAtlString domain;
  Value value;  // what is at the path there
};
// Every scope and domain whose file has something at the path, by scope, then by name. A file that
// cannot be read has nothing.
std::vector<Place> PlacesWith(const Path& path);

// Who holds the lock of a domain: "\"name\" (process 12 of alice)"; "" when nobody does.
std::string LockHolderText(int scope, const CAtlString& domain);

}  // namespace orvik::prefstool::browse
