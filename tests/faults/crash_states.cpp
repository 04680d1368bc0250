#include "tests/faults/crash_states.h"

#include <fstream>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

// Of more changes, not all subsets are made: only every beginning, and all but each single change.
constexpr std::size_t kAllSubsetsOf = 8;

// The choices of changes that are kept although they were not yet on disk: one row for each choice.
std::vector<std::vector<bool>> Choices(std::size_t count) {
  std::vector<std::vector<bool>> choices;
  if (count <= kAllSubsetsOf) {
    for (unsigned bits = 0; bits < 1U << count; ++bits) {
      choices.emplace_back(count);
      for (std::size_t i = 0; i < count; ++i) choices.back()[i] = (bits >> i & 1) != 0;
    }
    return choices;
  }
  for (std::size_t i = 0; i <= count; ++i) {
    choices.emplace_back(count);
    std::fill_n(choices.back().begin(), i, true);
    if (i == count) break;
    choices.emplace_back(count, true)[i] = false;
  }
  return choices;
}

}  // namespace

std::string ContentOf(const std::string& path, mode_t mode) {
  if (S_ISLNK(mode)) return std::filesystem::read_symlink(path);
  if (!S_ISREG(mode)) return {};
  const bool is_hidden = (mode & S_IRUSR) == 0;
  if (is_hidden) chmod(path.c_str(), (mode & 07777) | S_IRUSR);
  std::string content = ReadFile(path);
  if (is_hidden) chmod(path.c_str(), mode & 07777);
  return content;
}

CallRecorder::CallRecorder(const std::string& folder) : folder_(folder) {
  Learn(folder_, &names_);
  first_entries_ = entries_;
  first_names_ = names_;
  events_.clear();
}

// The node at the path, or -1. New content is recorded as an event.
int CallRecorder::Learn(const std::string& path, Names* names) {
  struct stat info = {};
  const bool is_open = path.starts_with("/proc/self/fd/");
  if ((is_open ? stat(path.c_str(), &info) : lstat(path.c_str(), &info)) != 0) return -1;
  const auto [known, is_new] = nodes_.try_emplace({info.st_dev, info.st_ino}, next_node_);
  if (is_new) ++next_node_;
  const int node = known->second;
  CrashEntry entry{info.st_mode, ContentOf(path, info.st_mode), 0};
  const auto present = entries_.find(node);
  if (present == entries_.end() || present->second != entry) {
    entries_[node] = entry;
    events_.push_back({Event::kContent, node, std::move(entry), {}});
  }
  if (names == nullptr || !S_ISDIR(info.st_mode)) return node;
  for (const std::string& name : NamesIn(path)) {
    const int child = Learn(path + "/" + name, names);
    if (child >= 0) (*names)[{node, name}] = child;
  }
  return node;
}

void CallRecorder::Changed() {
  Names names;
  Learn(folder_, &names);
  Event event{Event::kNames, -1, {}, {}};
  for (const auto& [name, node] : names) {
    const auto old = names_.find(name);
    if (old == names_.end() || old->second != node) event.names[name] = node;
  }
  for (const auto& [name, node] : names_) {
    if (!names.contains(name)) event.names[name] = -1;
  }
  // The kernel may reuse the inode number of a file without a name.
  const auto has_name = [](const Names& in, int node) {
    return std::any_of(in.begin(), in.end(),
                       [node](const auto& one) { return one.second == node; });
  };
  std::erase_if(nodes_, [&](const auto& known) {
    return has_name(names_, known.second) && !has_name(names, known.second);
  });
  names_ = std::move(names);
  if (!event.names.empty()) events_.push_back(std::move(event));
}

void CallRecorder::Flushed(int file) {
  const int node = Learn("/proc/self/fd/" + std::to_string(file), nullptr);
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
  // The contents on disk and as written, and the folders that were flushed after each change of
  // names.
  std::map<int, CrashEntry> flushed = first_entries_;
  std::map<int, CrashEntry> written = first_entries_;
  std::vector<std::set<int>> waits_for(events);  // the folders not flushed since
  for (std::size_t at = 0; at < events; ++at) {
    const Event& event = events_[at];
    switch (event.kind) {
      case Event::kContent:
        written[event.node] = event.entry;
        // Folders and links have no content of their own to lose, and a new file is empty at first.
        if (!flushed.contains(event.node)) {
          flushed[event.node] = {
              event.entry.mode, S_ISLNK(event.entry.mode) ? event.entry.content : std::string(), 0};
        }
        break;
      case Event::kNames:
        for (const auto& change : event.names) waits_for[at].insert(change.first.first);
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
  std::vector<std::size_t> open;  // the changes of names that may be lost
  for (std::size_t at = 0; at < events; ++at) {
    if (!waits_for[at].empty()) open.push_back(at);
  }
  for (const std::vector<bool>& kept : Choices(open.size())) {
    Names names = first_names_;
    for (std::size_t at = 0; at < events; ++at) {
      const auto place = std::lower_bound(open.begin(), open.end(), at);
      const bool is_open = place != open.end() && *place == at;
      if (is_open && !kept[static_cast<std::size_t>(place - open.begin())]) continue;
      for (const auto& [name, node] : events_[at].names) names[name] = node;
    }
    // Goes down from the stage. The content of a lost folder is lost, too.
    for (int content = 0; content < 4; ++content) {
      CrashState state{{}, events, events == events_.size()};
      std::vector<std::pair<int, std::string>> folders = {{0, ""}};
      bool differs = false;
      while (!folders.empty()) {
        const auto [folder, path] = folders.back();
        folders.pop_back();
        for (auto at = names.lower_bound({folder, ""});
             at != names.end() && at->first.first == folder; ++at) {
          if (at->second < 0) continue;
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
  // The mode of a folder comes last, because it may forbid access to its entries.
  for (auto mode = modes.rbegin(); mode != modes.rend(); ++mode) {
    chmod(mode->first.c_str(), mode->second);
  }
}

}  // namespace orvik::test
