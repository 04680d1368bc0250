// Changes of a browser that was ended by a signal, kept until the next one is started.
//
// They lie in "Library/Application Support/orvikprefs" of the user's home, in a folder and in files
// that nobody else may read: values may be secrets. A folder that belongs to another user, as the
// home of another does under sudo, or that others may enter, is not used. A file belongs to the
// scope, the domain and the file behind them; several may be kept for one, none replaces another.
#pragma once

#include <string>
#include <vector>

#include "tools/orvikprefs/browse/tree.h"

namespace orvik::prefstool::browse {

struct KeptChanges {
  std::string path;  // of the file
  std::vector<Change> changes;
};

// Keeps the changes of a preference file: the path of the file that has them, or "" with an error
// number.
std::string KeepChanges(const std::string& preference_file, const std::vector<Change>& changes,
                        int* error);

// What is kept for the preference file, the oldest first. What cannot be read is left out.
std::vector<KeptChanges> FindKeptChanges(const std::string& preference_file);

// Removes the file of FindKeptChanges or KeepChanges.
void ForgetKeptChanges(const std::string& path);

}  // namespace orvik::prefstool::browse
