#include "tools/orvikprefs/run.h"

#include <CLI/CLI.hpp>
#include <array>
#include <cstdlib>
#include <functional>
#include <ostream>

#include "platform/foundation/autorelease_pool.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

constexpr const char* kDefaultDomain = "com.orviktech.Registry";

struct ScopeName {
  const char* name;
  int scope;
};
constexpr std::array<ScopeName, 9> kScopeNames = {{{"shared", 0},
                                                   {"user", 1},
                                                   {"machine", 4},
                                                   {"0", 0},
                                                   {"1", 1},
                                                   {"2", 2},
                                                   {"3", 3},
                                                   {"4", 4},
                                                   {"5", 5}}};

// A text argument that is not UTF-8 ends the parsing with a clear error.
class Text {
 public:
  explicit Text(const char* ascii = "") : value_(ascii) {}
  const CAtlString& Value() const { return value_; }

  CLI::Option* AddTo(CLI::App* app, const std::string& name, const std::string& help) {
    return app->add_option_function<std::string>(
        name,
        [this, name](const std::string& bytes) {
          std::optional<CAtlString> text = FromUtf8(bytes);
          if (!text) throw CLI::ValidationError(name, "is not UTF-8");
          value_ = *text;
        },
        help);
  }

 private:
  CAtlString value_;
};

// Everything the command line can say; parsing fills it and chooses what to do.
class CommandLine {
 public:
  CommandLine(Context& context) : context_(context) {
    app_.require_subcommand(1);
    app_.fallthrough();
    app_.set_version_flag("--version", "orvikprefs " ORVIK_VERSION);
    AddGlobals();
    AddValueCommands();
    AddKeyCommands();
    AddExchangeCommands();
    AddFileCommands();
  }

  int Run(int argc, const char* const* argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
      return app_.exit(stop, *context_.out, *context_.error) == 0 ? kDone : kUsage;
    }
    if (!root_.empty()) setenv("ORVIK_SYSTEM_ROOT", root_.c_str(), 1);
    if (domain_.Value().IsEmpty()) return context_.Fail(kUsage, "the domain is empty");
    context_.domain = domain_.Value();
    for (const ScopeName& row : kScopeNames) {
      if (context_.scope_name == row.name) context_.scope = row.scope;
    }
    return action_();
  }

 private:
  void AddGlobals() {
    std::vector<std::string> scopes;
    scopes.reserve(std::size(kScopeNames));
    for (const ScopeName& row : kScopeNames) scopes.push_back(row.name);
    app_.add_option("--scope", context_.scope_name, "shared (default), user, machine, or 0 to 5")
        ->check(CLI::IsMember(scopes));
    domain_.AddTo(&app_, "--domain", "the domain to look into")->default_str(kDefaultDomain);
    app_.add_option("--root", root_, "where the system volume lies (as ORVIK_SYSTEM_ROOT)")
        ->check(CLI::ExistingDirectory);
    app_.add_flag("--quiet,-q", context_.quiet, "no confirmations");
    app_.add_flag("--json", context_.json, "JSON for programs");
    app_.add_flag("--null,-z", context_.null_separated,
                  "end fields with a NUL, for names with line breaks");
    app_.footer(
        "A KEY is a path such as \"Software/ORVIK Technologies\". Exit status: 0 done, 1 usage,\n"
        "2 not found, 3 not saved, 4 lock not obtained, 5 damaged or unreadable file,\n"
        "6 condition not met.");
  }

  CLI::App* Command(const std::string& name, const std::string& help, std::function<int()> action) {
    CLI::App* command = app_.add_subcommand(name, help);
    command->callback([this, action = std::move(action)] { action_ = action; });
    return command;
  }

  CLI::Option* AddKey(CLI::App* command) {
    return key_.AddTo(command, "KEY", "the key path; \"\" for the domain's top level");
  }

  void AddValueCommands() {
    CLI::App* get = Command("get", "print a value", [this] {
      return Get(context_, key_.Value(), name_.Value(), type_only_);
    });
    AddKey(get)->required();
    name_.AddTo(get, "NAME", "the value's name")->required();
    get->add_flag("--type", type_only_, "print its type instead");

    CLI::App* set = Command("set", "set a value, making the keys it needs", [this] {
      if (if_equals_->count() > 0) set_options_.if_equals = old_value_.Value();
      return Set(context_, key_.Value(), name_.Value(), value_.Value(), set_options_);
    });
    AddKey(set)->required();
    name_.AddTo(set, "NAME", "the value's name")->required();
    value_.AddTo(set, "VALUE", "the new value")->required();
    set->add_flag("--int", set_options_.integer, "store a 32-bit integer instead of a string");
    if_equals_ = old_value_.AddTo(set, "--if-equals", "only where this is the present value");
    set->add_flag("--if-absent", set_options_.if_absent, "only where there is no value yet")
        ->excludes(if_equals_);

    CLI::App* remove = Command("delete", "remove a value",
                               [this] { return Delete(context_, key_.Value(), name_.Value()); });
    AddKey(remove)->required();
    name_.AddTo(remove, "NAME", "the value's name")->required();

    CLI::App* remove_key = Command("delete-key", "remove a key", [this] {
      return DeleteKey(context_, key_.Value(), recursive_);
    });
    AddKey(remove_key)->required();
    remove_key->add_flag("--recursive,-r", recursive_, "with all that lies below it");
  }

  void AddKeyCommands() {
    AddKey(Command("list", "print the names below a key",
                   [this] { return List(context_, key_.Value()); }));
    AddKey(Command("tree", "print everything below a key, with types and values",
                   [this] { return Tree(context_, key_.Value()); }));
    CLI::App* find = Command("find", "print the keys and values that contain a text",
                             [this] { return Find(context_, text_.Value(), ignore_case_); });
    text_.AddTo(find, "TEXT", "what to look for, in names and values")->required();
    find->add_flag("--ignore-case,-i", ignore_case_, "capital and small letters are alike");
    CLI::App* watch = Command("watch", "print each change as it happens",
                              [this] { return Watch(context_, key_.Value(), count_); });
    AddKey(watch);
    watch->add_option("--count", count_, "end after so many changes")->check(CLI::PositiveNumber);
  }

  void AddExchangeCommands() {
    CLI::App* export_command = Command("export", "write the domain as a file", [this] {
      return Export(context_, format_ == "json" || context_.json ? Format::kJson : Format::kXml,
                    file_);
    });
    export_command->add_option("--format", format_, "xml (a property list, default) or json")
        ->check(CLI::IsMember({"xml", "json"}));
    export_command->add_option("--output,-o", file_,
                               "the file to write (default: standard output)");

    CLI::App* import_command =
        Command("import", "merge a property list or JSON file into the domain",
                [this] { return Import(context_, file_, import_options_); });
    import_command->add_option("FILE", file_, "the file, - for standard input")->required();
    import_command->add_flag("--replace", import_options_.replace,
                             "the domain then holds what the file holds, and nothing else");
    import_command->add_flag("--dry-run,-n", import_options_.dry_run,
                             "change nothing, print what would differ");

    CLI::App* diff = Command("diff", "print what turns the domain into what a file holds",
                             [this] { return Diff(context_, file_, status_tells_); });
    diff->add_option("FILE", file_, "the file, - for standard input")->required();
    diff->add_flag("--exit-code", status_tells_, "end with 6 when something differs");
  }

  void AddFileCommands() {
    CLI::App* lock = Command("lock", "tell who holds the lock of the shared scope", [this] {
      return Lock(context_, force_     ? LockAction::kForce
                            : release_ ? LockAction::kRelease
                                       : LockAction::kShow);
    });
    lock->add_flag("--release", release_, "free it if its holder no longer runs");
    lock->add_flag("--force", force_, "free it whoever holds it");
    Command("where", "print the file behind each scope and whether it can be read and written",
            [this] { return Where(context_); });
    Command("check", "tell whether the file is a sound property list",
            [this] { return Check(context_); });
    Command("repair", "keep a copy of a damaged file beside it and save what can be read",
            [this] { return Repair(context_); });
  }

  Context& context_;
  CLI::App app_{"Looks into, changes and repairs the ORVIK preference store.", "orvikprefs"};
  std::function<int()> action_;

  Text domain_{kDefaultDomain};
  Text key_, name_, value_, old_value_, text_;
  std::string root_, format_ = "xml", file_ = "-";
  bool type_only_ = false, recursive_ = false, ignore_case_ = false;
  bool status_tells_ = false, release_ = false, force_ = false;
  int count_ = 0;
  SetOptions set_options_;
  ImportOptions import_options_;
  CLI::Option* if_equals_ = nullptr;
};

}  // namespace

int Run(int argc, const char* const* argv, bool terminal, std::ostream& out, std::ostream& error) {
  const NSAutoreleasePool pool;
  Context context;
  context.terminal = terminal;
  const char* no_colour = std::getenv("NO_COLOR");
  context.colour = terminal && (no_colour == nullptr || *no_colour == '\0');
  context.out = &out;
  context.error = &error;
  const int status = CommandLine(context).Run(argc, argv);
  out.flush();
  if (!out.good()) return context.Fail(kNotSaved, "the output cannot be written");
  return status;
}

}  // namespace orvik::prefstool
