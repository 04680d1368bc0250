#include "tools/orvikprefs/browse/browser.h"

#include <algorithm>

#include "tools/orvikprefs/browse/path_completion.h"
#include "tools/orvikprefs/browse/value_form.h"
#include "tools/orvikprefs/domains.h"
#include "tools/orvikprefs/editor.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr int kTick = 250;  // milliseconds until the file is looked at again
constexpr std::size_t kMostHits = 1000;

std::string Shown(const Path& path) {
  return "/" + Escaped(JoinedPath(path));
}

// One line of what `diff` shows.
std::string ShownDifference(const Difference& difference) {
  const auto side = [](CFPropertyListRef value) {
    return std::string(TypeName(value)) + " " + Escaped(ValueText(value));
  };
  const char* sign = difference.kind == Difference::Kind::kAdded     ? "+ "
                     : difference.kind == Difference::Kind::kRemoved ? "- "
                                                                     : "~ ";
  std::string line = sign + Escaped(JoinedPath(difference.path)) + " = ";
  if (difference.kind == Difference::Kind::kChanged) line += side(difference.before) + " -> ";
  return line + side(difference.after != nullptr ? difference.after : difference.before);
}

// The path that a user typed; a leading "/" is of no meaning.
Path TypedPath(std::string text) {
  while (text.starts_with('/')) text.erase(0, 1);
  const std::optional<KeyPath> key = ParseKey(text);
  return key ? PathOf(*key) : Path();
}

std::string NameMistake(const std::string& name) {
  return FromUtf8(name) ? "" : "a name is UTF-8";
}

}  // namespace

Browser::Browser(Terminal& terminal, int scope, CAtlString domain)
    : terminal_(terminal),
      model_(std::make_unique<Model>(scope, std::move(domain))),
      screen_(terminal),
      dialogs_(terminal, [this] { Background(); }) {
  if (!model_->conflicts().empty()) Report("conflicts: C shows them");
}

bool Browser::Reveal(const Path& path) {
  if (!model_->Reveal(path)) return false;
  screen_.on_values = !IsDictionary(FindIn(model_->tree(), path));
  return true;
}

void Browser::Background() {
  if (model_->Refresh() && !model_->conflicts().empty()) {
    Report("another process changed what you changed: C shows the conflicts");
  }
  screen_.Draw(*model_, false);
}

void Browser::Run() {
  while (!leaves_) {
    if (model_->Refresh()) {
      Report(model_->conflicts().empty()
                 ? "changed by another process"
                 : "another process changed what you changed: C shows the conflicts");
    }
    screen_.Draw(*model_);
    terminal_.Show();
    const int key = terminal_.ReadKey(kTick);
    if (key == Terminal::kNothing || key == Terminal::kResized) continue;
    screen_.message.clear();
    Act(key);
  }
}

void Browser::Act(int key) {
  switch (key) {
    case Terminal::kUp:
    case 'k':
      return MoveBy(-1);
    case Terminal::kDown:
    case 'j':
      return MoveBy(1);
    case Terminal::kWheelUp:
      return MoveBy(-3);
    case Terminal::kWheelDown:
      return MoveBy(3);
    case Terminal::kPageUp:
      return MoveBy(-screen_.page());
    case Terminal::kPageDown:
      return MoveBy(screen_.page());
    case Terminal::kHome:
      return MoveBy(-static_cast<int>(model_->keys().size() + model_->values().size()));
    case Terminal::kEnd:
      return MoveBy(static_cast<int>(model_->keys().size() + model_->values().size()));
    case '\n':
    case Terminal::kRight:
    case 'l':
      return key == '\n' && screen_.on_values ? Edit() : Enter();
    case Terminal::kLeft:
    case 'h':
      return Leave();
    case '\t':
    case Terminal::kBackTab:
      screen_.on_values = !screen_.on_values;
      return;
    case Terminal::kClick:
      return Click(false);
    case Terminal::kDoubleClick:
      return Click(true);
    case '/':
      return SearchWhileTyping();
    case 'n':
      return NextHit(1);
    case 'N':
      return NextHit(-1);
    case 'g':
      return GoToPath();
    case 's':
      return ChooseScope();
    case 'D':
      return ChooseDomain();
    case 'e':
      return Edit();
    case 'a':
      return AddValue();
    case 'A':
      return AddKey();
    case 'r':
      return Rename();
    case 'm':
      return MoveOrCopy(false);
    case 'y':
      return MoveOrCopy(true);
    case 'd':
    case Terminal::kDelete:
      return Delete();
    case 'u':
      return Report(model_->Undo() ? "undone" : "nothing to undo");
    case 'c':
      return ShowChanges();
    case 'C':
      return ShowConflicts();
    case 'w':
      return Apply();
    case '?':
      return ShowHelp();
    case 'q':
      leaves_ = MayLeave();
      return;
    default:
      return;
  }
}

void Browser::MoveBy(int rows) {
  if (screen_.on_values) {
    model_->SelectValue(model_->selected_value() + rows);
  } else {
    model_->SelectKey(model_->selected_key() + rows);
  }
}

void Browser::Enter() {
  if (screen_.on_values) return;
  const KeyRow& key = model_->keys()[static_cast<std::size_t>(model_->selected_key())];
  if (key.is_open || !key.has_keys) {
    screen_.on_values = true;
  } else {
    model_->Open(model_->selected_key(), true);
  }
}

void Browser::Leave() {
  if (screen_.on_values) {
    screen_.on_values = false;
    return;
  }
  const int row = model_->selected_key();
  const KeyRow& key = model_->keys()[static_cast<std::size_t>(row)];
  if (key.is_open && key.has_keys) {
    model_->Open(row, false);
  } else if (key.parent >= 0) {
    model_->SelectKey(key.parent);
  }
}

void Browser::Click(bool twice) {
  const int row = screen_.RowAtMouse(*model_);
  if (row < 0) return;
  if (screen_.on_values) {
    model_->SelectValue(row);
    if (twice) Edit();
    return;
  }
  model_->SelectKey(row);
  if (twice) model_->Open(row, !model_->keys()[static_cast<std::size_t>(row)].is_open);
}

Path Browser::SelectedPath() const {
  return IsOnValue() ? model_->PathOfValue(model_->selected_value())
                     : model_->PathOf(model_->selected_key());
}

void Browser::SearchWhileTyping() {
  if (!index_ || index_version_ != model_->version()) {
    index_ = std::make_unique<SearchIndex>(model_->tree());
    index_version_ = model_->version();
  }
  std::vector<std::size_t> hits;
  Dialogs::Question question;
  question.label = "search";
  question.rows = [&](const std::string& text) {
    hits = index_->Find(text, kMostHits);
    std::vector<std::string> rows;
    for (const std::size_t hit : hits) {
      const CFPropertyListRef value = index_->ValueOf(hit);
      std::string row = Shown(index_->PathOf(hit));
      row += IsDictionary(value) ? "/" : " = " + Escaped(ValueText(value));
      rows.push_back(std::move(row));
    }
    return rows;
  };
  int row = -1;
  const std::optional<std::string> text = dialogs_.Ask(question, &row);
  if (!text || text->empty()) return;
  hits_ = std::move(hits);
  hit_ = static_cast<std::size_t>(std::max(0, row));
  if (hits_.empty()) return Report("not found");
  NextHit(0);
}

void Browser::NextHit(int step) {
  if (hits_.empty()) return Report("nothing was searched; / searches");
  const auto count = static_cast<int>(hits_.size());
  hit_ = static_cast<std::size_t>((static_cast<int>(hit_) + step + count) % count);
  const Path path = index_->PathOf(hits_[hit_]);
  if (!Reveal(path)) return Report(Shown(path) + " is no longer there");
  Report("hit " + std::to_string(hit_ + 1) + " of " + std::to_string(count) +
         (hits_.size() == kMostHits ? " or more" : "") + "; n next, N previous");
}

void Browser::GoToPath() {
  Dialogs::Question question;
  question.label = "go to";
  question.text = "/";
  question.check = [this](const std::string& text) {
    return FindIn(model_->tree(), TypedPath(text)) != nullptr ? "" : "not found; Tab completes";
  };
  question.complete = [this](const std::string& text) {
    return CompletedPath(model_->tree(), text);
  };
  if (const std::optional<std::string> text = dialogs_.Ask(question)) {
    Reveal(TypedPath(*text));
  }
}

bool Browser::MayLeave() {
  // A conflict holds what the user wanted: it is a change that waits, too.
  const auto waiting = [this] { return model_->changes().size() + model_->conflicts().size(); };
  const std::size_t count = waiting();
  if (count == 0) return true;
  const int key =
      dialogs_.AskLetter(std::to_string(count) + (count == 1 ? " change is" : " changes are") +
                             " not written: w write, d discard, Esc stay",
                         "wd");
  if (key == 'w') Apply();
  if (key == 'd') model_->RevertAll();
  return key != 0 && waiting() == 0;
}

void Browser::Look(int scope, const CAtlString& domain) {
  if (!MayLeave()) return;
  model_ = std::make_unique<Model>(scope, domain);
  hits_.clear();
  index_.reset();
  screen_.on_values = false;
}

void Browser::ChooseScope() {
  static constexpr int kScopes[] = {0, 1, 4};
  const std::optional<int> row = dialogs_.Choose({"Scope", {"shared", "user", "machine"}, "", ""});
  if (row) Look(kScopes[*row], model_->domain());
}

void Browser::ChooseDomain() {
  const std::vector<DomainFile> domains = DomainsOf(model_->scope());
  std::vector<std::string> rows;
  rows.reserve(domains.size());
  for (const DomainFile& domain : domains) {
    rows.push_back(Escaped(domain.name) + "  " + std::to_string(domain.size) + " bytes");
  }
  const std::optional<int> row = dialogs_.Choose({"Domains of this scope", rows, "", ""});
  if (!row) return;
  if (const auto domain = FromUtf8(domains[static_cast<std::size_t>(*row)].name)) {
    Look(model_->scope(), *domain);
  }
}

void Browser::ShowHelp() {
  dialogs_.Choose({"Help",
                   {"Up Down j k          move                 Tab        keys, values",
                    "Right l Enter        open a key           Left h     close, go up",
                    "Home End Page        far                  Mouse      select, open, edit",
                    "/                    search               n N        next, previous hit",
                    "g                    go to a path         s D        scope, domain", "",
                    "e Enter              edit a value         a A        add a value, a key",
                    "r m y                rename, move, copy   d          delete",
                    "u                    undo the last        c          list, undo one",
                    "w                    write the changes    C          conflicts", "",
                    "Marks: * changed  + added  ~ changed by another process  ! conflict",
                    "Nothing is written before w; then all of it or nothing."},
                   "Esc back",
                   ""});
}

void Browser::Edit() {
  const Path path = SelectedPath();
  const CFPropertyListRef value = FindIn(model_->tree(), path);
  if (value == nullptr) return;
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
  if (!text || *text == *line) return;
  std::string mistake;
  Report(model_->Set(path, FromLine(type, *text, mistake)));
}

void Browser::EditInEditor(const Path& path, ValueType type) {
  if (path.empty()) return Report("the domain is edited key by key");
  PrivateFile file(JsonText(FindIn(model_->tree(), path), JsonWriter::Layout::kIndented) + "\n");
  if (file.error() != 0) return Report("a temporary file cannot be written");
  for (;;) {
    terminal_.Suspend();
    std::string text;
    const bool is_read = RunEditor(Editor(), file.path()) && ReadWhole(file.path(), text) == 0;
    terminal_.Resume();
    if (!is_read) return Report("the editor failed; nothing is changed");
    TextError mistake;
    const Value value = ReadJson(text, &mistake);
    if (value && TypeOf(value) == type) return Report(model_->Set(path, value));
    const std::string reason =
        value ? std::string("this is not ") + TypeForm(type) : mistake.Message();
    if (dialogs_.AskLetter(reason + ": e edit again, Esc give up", "e") == 0) return;
  }
}

void Browser::AddValue() {
  static constexpr ValueType kTypes[] = {ValueType::kString,  ValueType::kInteger, ValueType::kReal,
                                         ValueType::kBoolean, ValueType::kDate,    ValueType::kData,
                                         ValueType::kArray};
  std::vector<std::string> rows;
  for (const ValueType type : kTypes) rows.emplace_back(TypeName(type));
  Path path = model_->PathOf(model_->selected_key());
  const std::optional<int> row = dialogs_.Choose({"Type of the new value", rows, "", ""});
  if (!row) return;
  const ValueType type = kTypes[*row];
  const std::optional<std::string> name = dialogs_.Ask({"name", "", NameMistake, {}, {}});
  if (!name) return;
  path.push_back(*name);
  if (FindIn(model_->tree(), path) != nullptr) return Report(Shown(path) + " exists already");
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
    if (!text) return;
    value = FromLine(type, *text, mistake);
  }
  Report(model_->Add(path, value));
  Reveal(path);
  if (type == ValueType::kArray) EditInEditor(path, type);
}

void Browser::AddKey() {
  Path path = model_->PathOf(model_->selected_key());
  const std::optional<std::string> name = dialogs_.Ask({"new key", "", NameMistake, {}, {}});
  if (!name) return;
  path.push_back(*name);
  Report(model_->Add(path, EmptyTree().Get()));
  Reveal(path);
}

void Browser::Rename() {
  const Path path = SelectedPath();
  if (path.empty()) return Report("the domain has no other name");
  const std::optional<std::string> name =
      dialogs_.Ask({"new name", path.back(), NameMistake, {}, {}});
  if (!name) return;
  Path to = path;
  to.back() = *name;
  Report(model_->Move(path, to));
}

void Browser::MoveOrCopy(bool copy) {
  const Path path = SelectedPath();
  if (path.empty()) return Report("the domain stays where it is");
  Dialogs::Question question;
  question.label = copy ? "copy to" : "move to";
  question.text = "/" + JoinedPath(path);
  question.complete = [this](const std::string& text) {
    return CompletedPath(model_->tree(), text);
  };
  const std::optional<std::string> text = dialogs_.Ask(question);
  if (!text) return;
  const Path to = TypedPath(*text);
  if (to.empty()) return Report("a path has a name");
  Report(copy ? model_->Copy(path, to) : model_->Move(path, to));
}

void Browser::Delete() {
  const Path path = SelectedPath();
  if (path.empty()) return Report("the domain is deleted with orvikprefs reset");
  const CFPropertyListRef value = FindIn(model_->tree(), path);
  if (IsDictionary(value)) {
    const std::size_t count = CountBelow(static_cast<CFDictionaryRef>(value));
    const std::string question = "delete " + Shown(path) + " with " + std::to_string(count) +
                                 (count == 1 ? " entry" : " entries") + "? y, Esc";
    if (dialogs_.AskLetter(question, "y") == 0) return;
  }
  Report(model_->Remove(path));
}

void Browser::Apply() {
  if (!model_->conflicts().empty()) {
    return Report("settle the conflicts first: C shows them");
  }
  if (model_->changes().empty()) return Report("no changes");
  const std::size_t count = model_->changes().size();
  const PrefStatus status = model_->Apply();
  if (status.ok()) {
    Report(std::to_string(count) + (count == 1 ? " change" : " changes") + " written");
  } else if (!model_->conflicts().empty()) {
    Report("nothing is written: another process changed what you changed; C shows the conflicts");
  } else {
    Report("nothing is written: " + Describe(status));
  }
}

void Browser::ShowChanges() {
  int selected = 0;
  for (;;) {
    std::vector<std::string> rows;
    std::vector<std::size_t> change_of_row;
    for (std::size_t change = 0; change < model_->changes().size(); ++change) {
      for (const Difference& line : LinesOf(model_->changes()[change])) {
        rows.push_back(ShownDifference(line));
        change_of_row.push_back(change);
      }
    }
    if (rows.empty()) return Report("no changes");
    int key = 0;
    const std::optional<int> row =
        dialogs_.Choose({"Changes that w writes", rows,
                         "u undo this one  w write all  Enter go there  Esc back", "uw"},
                        std::min(selected, static_cast<int>(rows.size()) - 1), &key);
    if (!row) return;
    selected = *row;
    const std::size_t change = change_of_row[static_cast<std::size_t>(*row)];
    // What is behind the list may have changed while it waited.
    if (change >= model_->changes().size()) continue;
    if (key == 'w') return Apply();
    if (key == 'u') {
      model_->Revert(change);
    } else {
      Path path = model_->changes()[change].path;
      while (!path.empty() && !model_->Reveal(path)) path.pop_back();
      return;
    }
  }
}

void Browser::ShowConflicts() {
  for (;;) {
    if (model_->conflicts().empty()) return Report("no conflicts");
    std::vector<std::string> rows;
    for (const Conflict& conflict : model_->conflicts()) {
      const auto text = [](const Value& value) {
        return value ? std::string(TypeName(value)) + " " + Escaped(ValueText(value))
                     : std::string("nothing");
      };
      rows.push_back(Shown(conflict.path) + ": there " + text(conflict.there) + ", yours " +
                     text(conflict.wanted) + ", before " + text(conflict.before));
    }
    int key = 0;
    const std::optional<int> row =
        dialogs_.Choose({"Another process changed what you changed", rows,
                         "m take mine  t take theirs  Esc later", "mt"},
                        0, &key);
    if (!row) return;
    if (key == 'm' || key == 't') model_->Settle(static_cast<std::size_t>(*row), key == 'm');
  }
}

}  // namespace orvik::prefstool::browse
