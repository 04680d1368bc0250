#include "tools/orvikprefs/browse/draft.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "host/private_files.h"
#include "host/system.h"
#include "host/tree_removal.h"
#include "plist/sink.h"

namespace orvik::prefstool::browse {
namespace {

constexpr const char* kFolders[] = {"Library", "Application Support", "orvikprefs"};
constexpr int kMostFiles = 100;  // for one preference file

std::string FolderPath() {
  std::string path = host::OwnHomeFolder();
  for (const char* name : kFolders) (path += '/') += name;
  return path;
}

host::Descriptor OpenFolder(bool make) {
  return host::OpenPrivateFolder(host::OwnHomeFolder(), kFolders, make);
}

// The files of one preference file are numbered. The name is fixed for all versions (FNV-1a).
std::string FileName(const std::string& preference_file, int number) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char byte : preference_file) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  }
  char name[64];
  std::snprintf(name, sizeof name, "browse-%016llx-%d.json", static_cast<unsigned long long>(hash),
                number);
  return name;
}

// The form on disk:
//
//   {"file": ["PATH"], "changes": [{"path": ["A", "n"], "before": VALUE, "after": VALUE}, ...]}
//
// A missing value is left out. "file" is for people; only the name of the file is used.
std::string TextOf(const std::string& preference_file, const std::vector<Change>& changes) {
  JsonWriter json;
  json.BeginObject().Name("file").Texts({preference_file}).Name("changes").BeginArray();
  for (const Change& change : changes) {
    json.BeginObject().Name("path").Texts(change.path);
    if (change.before) WriteJson(json.Name("before"), change.before);
    if (change.after) WriteJson(json.Name("after"), change.after);
    json.EndObject();
  }
  return json.EndArray().EndObject().Release() + "\n";
}

// Text of another form has no changes.
std::vector<Change> ChangesOf(const std::string& text) {
  std::vector<Change> changes;
  TextError error;
  const Value root = ReadJson(text, &error);
  for (const Child& child : ChildrenOf(FindIn(root, {"changes"}))) {
    Change change;
    // ReadJson has decoded the escapes of the names.
    for (const Child& name : ChildrenOf(FindIn(child.value, {"path"}))) {
      if (name.value.is_string()) change.path.push_back(NameText(name.value.text()));
    }
    change.before = FindIn(child.value, {"before"});
    change.after = FindIn(child.value, {"after"});
    if (!change.path.empty()) changes.push_back(std::move(change));
  }
  return changes;
}

}  // namespace

std::string KeepChanges(const std::string& preference_file, const std::vector<Change>& changes,
                        int* error) {
  const host::Descriptor folder = OpenFolder(true);
  *error = errno;
  const std::string text = TextOf(preference_file, changes);
  for (int number = 0; folder && number < kMostFiles; ++number) {
    const std::string name = FileName(preference_file, number);
    *error = host::WritePrivateFile(folder.get(), name.c_str(), text);
    if (*error == 0) return FolderPath() + "/" + name;
    if (*error != EEXIST) return {};
  }
  return {};
}

std::vector<KeptChanges> FindKeptChanges(const std::string& preference_file) {
  std::vector<KeptChanges> found;
  const host::Descriptor folder = OpenFolder(false);
  for (int number = 0; folder && number < kMostFiles; ++number) {
    const std::string name = FileName(preference_file, number);
    std::string text;
    host::ReadPrivateFile(folder.get(), name.c_str(), plist::kMaximumFileSize, &text);
    std::vector<Change> changes = ChangesOf(text);
    if (!changes.empty()) found.push_back({FolderPath() + "/" + name, std::move(changes)});
  }
  return found;
}

void ForgetKeptChanges(const std::string& path) {
  const host::Descriptor folder = OpenFolder(false);
  const std::string name = path.substr(path.rfind('/') + 1);
  if (folder) host::RemoveFile(folder.get(), name.c_str(), host::Obstacles::kRespect);
}

}  // namespace orvik::prefstool::browse
