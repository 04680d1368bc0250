#include "tools/orvikprefs/commands.h"

namespace orvik::prefstool {

namespace {

using Count = Positional::Count;

// Commands share a row of words or options if it has the same meaning for them. Texts of help are
// phrases after the name, without a full stop; an example is a line that a test runs.

// The options of every command. An option of a command with the same name hides the one here after
// the command's name (set --json).
constexpr Option kGlobals[] = {
    {"--help", 'h', Word::kFlag, "", "print help; after a command, its help"},
    {"--version", 0, Word::kFlag, "", "print the version"},
    {"--scope", 0, Word::kScope, "SCOPE", "shared (default), user, machine, or 0 to 5"},
    {"--domain", 0, Word::kDomain, "DOMAIN", "the domain (default: com.orviktech.Registry)"},
    {"--root", 0, Word::kFolder, "DIR",
     "the root of the system volume; the caller's HOME is ignored"},
    {"--home", 0, Word::kFolder, "DIR", "the home folder of the user scope and of the lock record"},
    {"--timeout", 0, Word::kSeconds, "SECONDS", "the longest wait for the lock; 0 tries once"},
    {"--quiet", 'q', Word::kFlag, "", "no confirmations"},
    {"--json", 0, Word::kFlag, "", "JSON for programs"},
    {"--null", 'z', Word::kFlag, "", "end fields with a NUL, for names with line breaks"},
};

constexpr Positional kKey = {"KEY", Word::kKey, Count::kOne,
                             "the key path, or a JSON array of names; \"\" for the top level"};
constexpr Positional kSomeKey = {"KEY", Word::kKey, Count::kOptional,
                                 "the key path (default: the domain's top level)"};
constexpr Positional kName = {"NAME", Word::kName, Count::kOne, "the value's name"};
constexpr Positional kFile = {"FILE", Word::kFile, Count::kOne, "the file, - for standard input"};
constexpr Positional kNewKey = {"NEW-KEY", Word::kKey, Count::kOptional,
                                "the key to copy or move to"};
constexpr Positional kNewName = {"NEW-NAME", Word::kName, Count::kOptional, "the new name"};
constexpr Option kReplace = {"--replace", 0, Word::kFlag, "",
                             "replace the value or key that has the new name"};
constexpr Option kRecursive = {"--recursive", 'r', Word::kFlag, "",
                               "a key, with everything below it"};

constexpr std::span<const Positional> kNoWords;
constexpr std::span<const Option> kNoOptions;
constexpr Positional kOneKey[] = {kKey};
constexpr Positional kAnyKey[] = {kSomeKey};
constexpr Positional kOneValue[] = {kKey, kName};
constexpr Positional kFileAndKey[] = {kFile, kSomeKey};
constexpr Positional kOldAndNew[] = {
    kKey,
    {"NAME", Word::kName, Count::kOne, "the value's name; for a whole key, its new path"},
    kNewKey,
    kNewName};

constexpr Positional kGetWords[] = {
    kKey, {"NAME", Word::kName, Count::kOptional, "the value's name (default: the whole key)"}};
constexpr Option kGetOptions[] = {
    {"--type", 0, Word::kFlag, "", "print the type instead"},
    {"--default", 0, Word::kText, "TEXT", "print TEXT if the value does not exist"},
    {"--format", 0, Word::kFormat, "FORMAT", "xml or json (default: text; json of a key)"},
    {"--show-scope", 0, Word::kFlag, "", "print each scope that has the value, and its file"},
};
constexpr Positional kSetWords[] = {
    kKey, kName, {"VALUE", Word::kText, Count::kOne, "the new value"}};
constexpr Option kSetOptions[] = {
    {"--int", 0, Word::kFlag, "", "VALUE is an integer of 64 bits"},
    {"--real", 0, Word::kFlag, "", "VALUE is a real number"},
    {"--bool", 0, Word::kFlag, "", "VALUE is true or false (yes, no, on, off, 1, 0)"},
    {"--date", 0, Word::kFlag, "", "VALUE is a date such as 2024-05-06T07:08:09Z"},
    {"--data", 0, Word::kFlag, "", "VALUE is Base64"},
    {"--json", 0, Word::kFlag, "", "VALUE is JSON, for arrays and dictionaries, too"},
    {"--if-equals", 0, Word::kText, "OLD", "only if OLD is the present value"},
    {"--if-absent", 0, Word::kFlag, "", "only if the value does not exist"},
    {"--replace-key", 0, Word::kFlag, "",
     "replace a key and everything below it, or a value with a key"},
    {"--keep-type", 0, Word::kFlag, "",
     "only if the present value has this type or does not exist"},
    {"--append", 0, Word::kFlag, "", "VALUE becomes the last element of the array NAME"},
    {"--insert", 0, Word::kFlag, "", "VALUE goes before the element NAME[INDEX] of an array"},
};
constexpr Option kDeleteOptions[] = {kRecursive};
constexpr Option kRenameOptions[] = {kReplace};
constexpr Option kCopyOptions[] = {
    kReplace,
    {"--to-scope", 0, Word::kScope, "SCOPE", "into this scope"},
    {"--to-domain", 0, Word::kDomain, "DOMAIN", "into this domain"},
};
constexpr Option kFindOptions[] = {
    {"--ignore-case", 'i', Word::kFlag, "", "ignore case"},
    {"--names", 0, Word::kFlag, "", "look in names only"},
    {"--values", 0, Word::kFlag, "", "look in values only"},
    {"--type", 0, Word::kType, "TYPE", "values of this type only, such as integer"},
    {"--pattern", 0, Word::kFlag, "", "TEXT is the whole name or value; * and ? stand for any"},
};
constexpr Positional kFindWords[] = {
    {"TEXT", Word::kText, Count::kOne, "the text to search in names and values"}, kSomeKey};
constexpr Option kWatchOptions[] = {
    {"--count", 0, Word::kCount, "N", "exit after N changes"},
    {"--ready", 0, Word::kFlag, "", "print a first line when watching has begun"},
};
constexpr Option kExportOptions[] = {
    {"--format", 0, Word::kFileFormat, "FORMAT", "xml (a property list, default), binary or json"},
    {"--output", 'o', Word::kFile, "FILE", "the file to write (default: standard output)"},
};
constexpr Option kBackup = {"--backup", 0, Word::kFlag, "",
                            "keep a copy of the file beside it when something changes"};
constexpr Option kRepairOptions[] = {
    {"--replace", 0, Word::kFlag, "", "replace a file even if nothing can be saved of it"},
    {"--dry-run", 'n', Word::kFlag, "", "change nothing, print what would be lost"},
    {"--backup", 0, Word::kFlag, "", "accepted: repair always keeps a copy"},
};
constexpr Option kImportOptions[] = {
    {"--replace", 0, Word::kFlag, "", "make the key equal to the file: remove other entries"},
    {"--replace-key", 0, Word::kFlag, "", "replace keys with values, and values with keys"},
    {"--dry-run", 'n', Word::kFlag, "", "change nothing, print the differences"},
    kBackup,
};
constexpr Option kDiffOptions[] = {
    {"--exit-code", 0, Word::kFlag, "", "exit with 6 if something differs"}};
constexpr Positional kOneFile[] = {kFile};
constexpr Option kApplyOptions[] = {
    {"--check", 'n', Word::kFlag, "", "change nothing; exit with 8 if something would change"},
    {"--secret", 0, Word::kFlag, "", "never print a value"},
    kBackup,
};
constexpr Option kEditOptions[] = {kBackup};
constexpr Option kLockOptions[] = {
    {"--release", 0, Word::kFlag, "", "release it if its holder no longer runs"},
    {"--force", 0, Word::kFlag, "", "release it, whoever holds it"},
};
constexpr Positional kHelpWords[] = {
    {"COMMAND", Word::kCommand, Count::kOptional, "the command (default: all)"}};
constexpr Positional kCompleteWords[] = {
    {"WORD", Word::kFile, Count::kMany, "the words after the program's name, the last unfinished"}};

// In the order of the help.
constexpr Command kCommands[] = {
    {"get", "print a value or a whole key", "orvikprefs get Software/App Path --default /opt",
     kGetWords, kGetOptions, Get},
    {"set", "set a value, creating missing keys", "orvikprefs set Software/App Count 5 --int",
     kSetWords, kSetOptions, Set},
    {"delete", "remove a value", "orvikprefs delete Software/App Path", kOneValue, kDeleteOptions,
     Delete},
    {"delete-key", "remove a key", "orvikprefs delete-key Software/App --recursive", kOneKey,
     kDeleteOptions, DeleteKey},
    {"reset", "remove everything below a key", "orvikprefs reset Software/App", kOneKey, kNoOptions,
     Reset},
    {"rename", "rename or move a value or a key",
     "orvikprefs rename Software/App Path Software/App Folder", kOldAndNew, kRenameOptions, Rename},
    {"copy", "copy a value or a key", "orvikprefs copy Software/App Software/Backup", kOldAndNew,
     kCopyOptions, Copy},
    {"list", "print the names below a key", "orvikprefs list Software", kAnyKey, kNoOptions, List},
    {"tree", "print everything below a key, with types and values", "orvikprefs tree Software",
     kAnyKey, kNoOptions, Tree},
    {"find", "print the keys and values that contain a text", "orvikprefs find -i pagewell",
     kFindWords, kFindOptions, Find},
    {"browse", "browse and edit the store on a terminal", "orvikprefs browse Software/App", kAnyKey,
     kNoOptions, Browse},
    {"watch", "print each change as it happens", "orvikprefs watch Software --count 1", kAnyKey,
     kWatchOptions, Watch},
    {"export", "write the domain, or a key of it, as a file",
     "orvikprefs export Software/App --format json -o app.json", kAnyKey, kExportOptions, Export},
    {"import", "merge a property list or JSON file into the domain or a key",
     "orvikprefs import app.json Software/App --dry-run", kFileAndKey, kImportOptions, Import},
    {"diff", "print the differences between the domain, or a key, and a file",
     "orvikprefs diff app.json Software/App --exit-code", kFileAndKey, kDiffOptions, Diff},
    {"apply", "run a script of conditions and changes, all or nothing",
     "orvikprefs apply wanted.txt --check", kOneFile, kApplyOptions, Apply},
    {"edit", "change the domain, or a key, as JSON in an editor",
     "EDITOR=nano orvikprefs edit Software/App", kAnyKey, kEditOptions, Edit},
    {"lock", "show who holds the lock of the shared scope", "orvikprefs lock --release", kNoWords,
     kLockOptions, Lock},
    {"where", "print the file behind each scope and whether it can be read and written",
     "orvikprefs where --json", kNoWords, kNoOptions, Where},
    {"domains", "print the domains of the scope, with file and size",
     "orvikprefs domains --scope user", kNoWords, kNoOptions, Domains},
    {"check", "check that the file is a sound property list", "orvikprefs check", kNoWords,
     kNoOptions, Check},
    {"repair", "keep a copy of a damaged file beside it and save what can be read",
     "orvikprefs repair --dry-run", kNoWords, kRepairOptions, Repair},
    {"complete", "print completions of a command line, for shells",
     "orvikprefs complete -- get Software/", kCompleteWords, kNoOptions, Complete},
    {"help", "print help", "orvikprefs help apply", kHelpWords, kNoOptions, Help},
};

constexpr Grammar kGrammar = {kGlobals, kCommands};

}  // namespace

const Grammar& OrvikPrefsGrammar() {
  return kGrammar;
}

}  // namespace orvik::prefstool
