#include "tools/orvikprefs/browse/draft.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <optional>

#include "host/descriptor.h"
#include "host/staged_file.h"
#include "host/system.h"
#include "plist/sink.h"
#include "tools/orvikprefs/json.h"

namespace orvik::prefstool::browse {
namespace {

constexpr const char* kFolders[] = {"Library", "Application Support", "orvikprefs"};
constexpr int kMostFiles = 100;  // of one preference file

std::string FolderPath() {
  std::string path = host::HomeFolder();
  for (const char* name : kFolders) (path += '/') += name;
  return path;
}

// The folder, if it is the caller's own and nobody else's; none, with errno, otherwise.
host::Descriptor OpenFolder(bool make) {
  // Root must not make folders behind another user's link.
  const int links = geteuid() == 0 ? O_NOFOLLOW : 0;
  host::Descriptor folder(open(host::HomeFolder().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  for (const char* name : kFolders) {
    if (!folder) return folder;
    if (make && mkdirat(folder.get(), name, 0700) != 0 && errno != EEXIST) return {};
    const int flags = name == kFolders[std::size(kFolders) - 1] ? O_NOFOLLOW : links;
    folder = host::Descriptor(openat(folder.get(), name, O_PATH | O_DIRECTORY | O_CLOEXEC | flags));
  }
  struct stat info = {};
  if (!folder || fstat(folder.get(), &info) != 0) return {};
  if (info.st_uid == geteuid() && (info.st_mode & 077) == 0) return folder;
  errno = EPERM;
  return {};
}

// Files of one preference file have numbers; the name is the same in every program (FNV-1a).
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

std::vector<Change> ChangesOf(const std::string& text) {
  std::vector<Change> changes;
  TextError error;
  const Value root = ReadJson(text, &error);
  for (const Child& child : ChildrenOf(FindIn(root, {"changes"}))) {
    Change change;
    // ReadJson has undone the escapes of the names.
    for (const Child& name : ChildrenOf(FindIn(child.value, {"path"}))) {
      if (name.value.is_string()) change.path.push_back(NameText(name.value.text()));
    }
    change.before = FindIn(child.value, {"before"});
    change.after = FindIn(child.value, {"after"});
    if (!change.path.empty()) changes.push_back(std::move(change));
  }
  return changes;
}

// "" for a file that is missing, another user's, or cannot be read.
std::string ReadOwnFile(int folder, const std::string& name) {
  const host::Descriptor file = host::OpenRegular(folder, name.c_str(), O_RDONLY | O_NOFOLLOW);
  const auto size = file ? host::SizeOfRegular(file.get()) : std::nullopt;
  if (!size || *size > plist::kMaximumFileSize ||
      !host::IsOwnFile(file.get(), folder, name.c_str())) {
    return {};
  }
  std::string text(*size, '\0');
  std::size_t done = 0;
  const int error = host::ReadAt(file.get(), text.data(), text.size(), 0, &done);
  return error == 0 && done == text.size() ? text : std::string();
}

}  // namespace

std::string KeepChanges(const std::string& preference_file, const std::vector<Change>& changes,
                        int* error) {
  const host::Descriptor folder = OpenFolder(true);
  *error = errno;
  for (int number = 0; folder && number < kMostFiles; ++number) {
    const std::string name = FileName(preference_file, number);
    host::Descriptor file(openat(folder.get(), name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    *error = errno;
    if (!file && *error == EEXIST) continue;
    if (!file) return {};
    *error = host::WriteAll(file.get(), TextOf(preference_file, changes));
    if (*error == 0 && fsync(file.get()) != 0) *error = errno;
    if (!file.Close() && *error == 0) *error = errno;
    if (*error == 0) return FolderPath() + "/" + name;
    unlinkat(folder.get(), name.c_str(), 0);
    return {};
  }
  return {};
}

std::vector<KeptChanges> FindKeptChanges(const std::string& preference_file) {
  std::vector<KeptChanges> found;
  const host::Descriptor folder = OpenFolder(false);
  for (int number = 0; folder && number < kMostFiles; ++number) {
    const std::string name = FileName(preference_file, number);
    std::vector<Change> changes = ChangesOf(ReadOwnFile(folder.get(), name));
    if (!changes.empty()) found.push_back({FolderPath() + "/" + name, std::move(changes)});
  }
  return found;
}

void ForgetKeptChanges(const std::string& path) {
  const host::Descriptor folder = OpenFolder(false);
  if (folder) unlinkat(folder.get(), path.substr(path.rfind('/') + 1).c_str(), 0);
}

}  // namespace orvik::prefstool::browse
