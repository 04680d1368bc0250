#include "tests/faults/crash_states.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

// Subsets of more changes are not all made: every beginning, and all but each single one.
constexpr std::size_t kAllSubsetsOf = 8;

std::string OpenPath(int file) {
  return "/proc/self/fd/" + std::to_string(file);
}

std::string LinkText(const std::string& path) {
  char text[4096];
  const ssize_t length = readlink(path.c_str(), text, sizeof text);
  return length < 0 ? std::string() : std::string(text, static_cast<std::size_t>(length));
}

CrashEntry EntryOf(const struct stat& info, const std::string& path) {
  CrashEntry entry{info.st_mode, {}, 0};
  if (S_ISLNK(info.st_mode)) entry.content = LinkText(path);
  if (S_ISREG(info.st_mode)) {
    // Also a file that its mode hides from its owner.
    const bool is_hidden = (info.st_mode & S_IRUSR) == 0;
    if (is_hidden) chmod(path.c_str(), info.st_mode | S_IRUSR);
    std::ifstream file(path, std::ios::binary);
    entry.content.assign(std::istreambuf_iterator<char>(file), {});
    if (is_hidden) chmod(path.c_str(), info.st_mode & 07777);
  }
  return entry;
}

// Which of the changes that are not yet on disk are kept: one row for each choice.
std::vector<std::vector<bool>> Choices(std::size_t count) {
  std::vector<std::vector<bool>> choices;
  if (count <= kAllSubsetsOf) {
    for (unsigned bits = 0; bits < 1U << count; ++bits) {
      std::vector<bool> kept(count);
      for (std::size_t i = 0; i < count; ++i) kept[i] = (bits >> i & 1) != 0;
      choices.push_back(std::move(kept));
    }
    return choices;
  }
  for (std::size_t i = 0; i <= count; ++i) {
    std::vector<bool> beginning(count);
    std::fill_n(beginning.begin(), i, true);
    choices.push_back(std::move(beginning));
    if (i == count) break;
    std::vector<bool> all_but_one(count, true);
    all_but_one[i] = false;
    choices.push_back(std::move(all_but_one));
  }
  return choices;
}

}  // namespace

CallRecorder::CallRecorder(const std::string& folder) {
  Learn(folder, -1, "");
}

void CallRecorder::Learn(const std::string& path, int folder, const std::string& name) {
  struct stat info = {};
  if (lstat(path.c_str(), &info) != 0) return;
  const Identity identity{info.st_dev, info.st_ino};
  const bool is_known = nodes_.contains(identity);  // by another hard link
  const int node = is_known ? nodes_[identity] : NewNode(identity);
  if (folder >= 0) first_names_[{folder, name}] = node;
  if (is_known) return;
  first_entries_[node] = EntryOf(info, path);
  if (!S_ISDIR(info.st_mode)) return;
  for (const std::string& child : NamesIn(path)) Learn(path + "/" + child, node, child);
}

int CallRecorder::NewNode(const Identity& identity) {
  nodes_[identity] = next_node_;
  return next_node_++;
}

int CallRecorder::NodeOf(const Identity& identity) const {
  const auto found = nodes_.find(identity);
  return found == nodes_.end() ? -1 : found->second;
}

int CallRecorder::FolderOf(int folder, const char* name, std::string* last) const {
  std::string path = name;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const std::size_t slash = path.rfind('/');
  *last = path.substr(slash == std::string::npos ? 0 : slash + 1);
  const std::string above = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  struct stat info = {};
  if (fstatat(folder, above.c_str(), &info, 0) != 0) return -1;
  return NodeOf({info.st_dev, info.st_ino});
}

void CallRecorder::Made(int folder, const char* name) {
  std::string last;
  const int parent = FolderOf(folder, name, &last);
  struct stat info = {};
  if (parent < 0 || fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return;
  const int node = NewNode({info.st_dev, info.st_ino});
  CrashEntry entry{info.st_mode, {}, 0};
  if (S_ISLNK(info.st_mode)) {
    char text[4096];
    const ssize_t length = readlinkat(folder, name, text, sizeof text);
    if (length > 0) entry.content.assign(text, static_cast<std::size_t>(length));
  }
  events_.push_back({Event::kContent, node, std::move(entry), {}});
  events_.push_back({Event::kNames, -1, {}, {{parent, last, node}}});
}

void CallRecorder::MadeUnnamed(int file) {
  struct stat info = {};
  if (fstat(file, &info) != 0) return;
  const int node = NewNode({info.st_dev, info.st_ino});
  events_.push_back({Event::kContent, node, {info.st_mode, {}, 0}, {}});
}

void CallRecorder::Changed(int file) {
  struct stat info = {};
  if (fstat(file, &info) != 0) return;
  const int node = NodeOf({info.st_dev, info.st_ino});
  if (node < 0) return;
  events_.push_back({Event::kContent, node, EntryOf(info, OpenPath(file)), {}});
}

void CallRecorder::Linked(int file_folder, const char* file_name, int flags, int folder,
                          const char* name) {
  std::string last;
  const int parent = FolderOf(folder, name, &last);
  struct stat info = {};
  const bool is_open = (flags & AT_EMPTY_PATH) != 0 && *file_name == '\0';
  const int follow = (flags & AT_SYMLINK_FOLLOW) != 0 ? 0 : AT_SYMLINK_NOFOLLOW;
  if ((is_open ? fstat(file_folder, &info) : fstatat(file_folder, file_name, &info, follow)) != 0) {
    return;
  }
  const int node = NodeOf({info.st_dev, info.st_ino});
  if (parent >= 0 && node >= 0) events_.push_back({Event::kNames, -1, {}, {{parent, last, node}}});
}

void CallRecorder::WillRename(int from, const char* from_name, int to, const char* to_name,
                              bool exchanges) {
  Event event{Event::kNames, -1, {}, {}};
  std::string old_name, new_name;
  const int old_folder = FolderOf(from, from_name, &old_name);
  const int new_folder = FolderOf(to, to_name, &new_name);
  const auto node_of = [this](int folder, const char* name) {
    struct stat info = {};
    if (fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0) return -1;
    return NodeOf({info.st_dev, info.st_ino});
  };
  const int moved = node_of(from, from_name);
  if (old_folder >= 0) {
    event.edits.push_back({old_folder, old_name, exchanges ? node_of(to, to_name) : -1});
  }
  if (new_folder >= 0) event.edits.push_back({new_folder, new_name, moved});
  events_.push_back(std::move(event));
}

void CallRecorder::WillRemove(int folder, const char* name) {
  std::string last;
  const int parent = FolderOf(folder, name, &last);
  Event event{Event::kNames, -1, {}, {}};
  if (parent >= 0) event.edits.push_back({parent, last, -1});
  events_.push_back(std::move(event));
}

void CallRecorder::Undo() {
  events_.pop_back();
}

void CallRecorder::Flushed(int file) {
  struct stat info = {};
  if (fstat(file, &info) != 0) return;
  const int node = NodeOf({info.st_dev, info.st_ino});
  if (node >= 0) events_.push_back({Event::kFlush, node, {}, {}});
}

void CallRecorder::FlushedAll() {
  events_.push_back({Event::kFlushAll, -1, {}, {}});
}

std::vector<CrashState> CallRecorder::States() const {
  std::vector<CrashState> states;
  for (std::size_t events = 0; events <= events_.size(); ++events) AddStates(events, &states);
  return states;
}

void CallRecorder::AddStates(std::size_t events, std::vector<CrashState>* states) const {
  // Contents, on disk and as written; which folders were flushed after each change of names.
  std::map<int, CrashEntry> flushed = first_entries_;
  std::map<int, CrashEntry> written = first_entries_;
  std::vector<std::set<int>> waits_for(events);  // folders that were not flushed since
  for (std::size_t at = 0; at < events; ++at) {
    const Event& event = events_[at];
    switch (event.kind) {
      case Event::kContent:
        written[event.node] = event.entry;
        // A folder and a link have no content of their own to lose, and a new file begins empty.
        if (!flushed.contains(event.node)) {
          flushed[event.node] = {
              event.entry.mode, S_ISLNK(event.entry.mode) ? event.entry.content : std::string(), 0};
        }
        break;
      case Event::kNames:
        for (const Edit& edit : event.edits) waits_for[at].insert(edit.folder);
        break;
      case Event::kFlush:
        if (const auto found = written.find(event.node); found != written.end()) {
          flushed[event.node] = found->second;
        }
        for (std::size_t before = 0; before < at; ++before) waits_for[before].erase(event.node);
        break;
      case Event::kFlushAll:
        flushed = written;
        for (std::size_t before = 0; before < at; ++before) waits_for[before].clear();
        break;
    }
  }
  std::vector<std::size_t> open;  // changes of names that may be lost
  for (std::size_t at = 0; at < events; ++at) {
    if (!waits_for[at].empty()) open.push_back(at);
  }
  for (const std::vector<bool>& kept : Choices(open.size())) {
    Names names = first_names_;
    for (std::size_t at = 0; at < events; ++at) {
      const auto place = std::lower_bound(open.begin(), open.end(), at);
      const bool is_open = place != open.end() && *place == at;
      if (is_open && !kept[static_cast<std::size_t>(place - open.begin())]) continue;
      for (const Edit& edit : events_[at].edits) {
        if (edit.node < 0) {
          names.erase({edit.folder, edit.name});
        } else {
          names[{edit.folder, edit.name}] = edit.node;
        }
      }
    }
    // From the stage down; what lies in a folder that was lost is lost with it.
    for (int content = 0; content < 4; ++content) {
      CrashState state{{}, events, events == events_.size()};
      std::vector<std::pair<int, std::string>> folders = {{0, ""}};
      bool differs = false;
      while (!folders.empty()) {
        const auto [folder, path] = folders.back();
        folders.pop_back();
        for (auto at = names.lower_bound({folder, ""});
             at != names.end() && at->first.first == folder; ++at) {
          const std::string below = path + (path.empty() ? "" : "/") + at->first.second;
          CrashEntry entry = written.at(at->second);
          entry.node = at->second;
          const CrashEntry& on_disk = flushed.at(at->second);
          if (S_ISREG(entry.mode) && entry.content != on_disk.content) {
            differs = true;
            if (content == 1) entry.content = on_disk.content;
            if (content == 2) entry.content.resize(entry.content.size() / 2);
            if (content == 3) entry.content.assign(entry.content.size(), '\0');
          }
          if (S_ISDIR(entry.mode)) folders.emplace_back(at->second, below);
          state.entries[below] = std::move(entry);
        }
      }
      if (content > 0 && !differs) break;
      const auto same = std::find_if(states->begin(), states->end(), [&](const CrashState& other) {
        return other.entries == state.entries && other.at_end == state.at_end;
      });
      if (same == states->end()) states->push_back(std::move(state));
    }
  }
}

void Build(const CrashState& state, const std::string& folder) {
  namespace fs = std::filesystem;
  fs::create_directories(folder);
  std::vector<std::pair<std::string, mode_t>> modes;
  std::map<int, std::string> places;
  for (const auto& [path, entry] : state.entries) {
    const std::string place = folder + "/" + path;
    const auto [first, is_new] = places.emplace(entry.node, place);
    if (S_ISDIR(entry.mode)) {
      fs::create_directory(place);
    } else if (!is_new) {
      fs::create_hard_link(first->second, place);
    } else if (S_ISLNK(entry.mode)) {
      fs::create_symlink(entry.content, place);
    } else {
      std::ofstream(place, std::ios::binary) << entry.content;
    }
    if (!S_ISLNK(entry.mode)) modes.emplace_back(place, entry.mode & 07777);
  }
  // A folder's last: it may forbid what it holds.
  for (auto mode = modes.rbegin(); mode != modes.rend(); ++mode) {
    chmod(mode->first.c_str(), mode->second);
  }
}

}  // namespace orvik::test
