// The dialogs that show a value or take it out, and change nothing.
#pragma once

#include <optional>
#include <string>

#include "tools/orvikprefs/browse/dialogs.h"
#include "tools/orvikprefs/browse/model.h"
#include "tools/orvikprefs/browse/terminal.h"

namespace orvik::prefstool::browse {

// Every function returns a line to be shown, or "".
class Reading {
 public:
  Reading(Model& model, Dialogs& dialogs, Terminal& terminal)
      : model_(model), dialogs_(dialogs), terminal_(terminal) {}

  // All of a value, and what it was before.
  std::string View(const Path& path);
  // Into the clipboard of the terminal.
  std::string CopyPath(const Path& path);
  std::string CopyValue(const Path& path);
  // As it is shown, into a file: JSON for a name that ends in ".json", else an XML property list.
  std::string Export(const Path& path);

 private:
  Model& model_;
  Dialogs& dialogs_;
  Terminal& terminal_;
};

// The bytes of Export; nothing for a value that the form cannot hold.
std::optional<std::string> ExportedBytes(CFPropertyListRef value, const std::string& file);

}  // namespace orvik::prefstool::browse
