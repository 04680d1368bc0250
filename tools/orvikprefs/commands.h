// The command line of orvikprefs and its commands.
//
// A command prints its result on Context::out and its messages on Context::error, each message as
// one line that begins with "orvikprefs: " and contains only harmless characters. It returns the
// exit status (context.h). kDone means that the whole command was carried out and that its changes,
// if any, are on disk. The grammar has already checked the words of the command line.
//
//   reading    reads the file of the scope and domain once; takes no lock and makes nothing
//   changing   one transaction under the lock (prefs/transaction.h), all or nothing: after every
//              status but kDone the file is as it was
//
// Besides kDone, all commands have these statuses in common:
//
//   kUsage             the command line is invalid; nothing was read or changed
//   kNotFound          the domain has no file, or the key or value does not exist
//   kNotSaved          the change is not on disk, or the output could not be written
//   kLockNotObtained   a change waited for the lock without success; the message names the holder
//   kDamagedFile       the file is not a property list of entries, or cannot be read; it is kept
//   kNotPermitted      no permission to read the file
//
// Only `repair` replaces a damaged file. The output is a table of fields separated by tabs, aligned
// and coloured on a terminal, JSON with --json, and with NULs for names with line breaks with -z
// (Context::Record).
#pragma once

#include <iosfwd>

#include "prefs/key_path.h"
#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/grammar.h"

namespace orvik::prefstool {

// The tables of all commands and options, used by the parser, help, completion and the test of the
// manual page.
const Grammar& OrvikPrefsGrammar();

// Fails a command that reads a key with the exit status for `status`. If the path leads to a value,
// the message says so and names the command that prints it.
int FailToReadKey(const Context& context, const PrefStatus& status, const KeyPath& key);

// Takes the scope, domain and folders from the line: --root and --home set ORVIK_SYSTEM_ROOT and
// HOME of this process. False, after a message, when one of them is not a folder.
bool UseStore(Context& context, const CommandLine& line);

// The store of --to-scope and --to-domain; without them the context's own.
Context TargetStore(const Context& context, const CommandLine& line);

// One value.

// get KEY [NAME]: prints a value, an element (NAME[2]) or, as JSON, a whole key; with --type its
// type. --format xml prints a property list. --show-scope prints each scope that has the value:
// scope, file, type, value. For a missing value kNotFound, or --default as a string.
int Get(const Context& context, const CommandLine& line);

// set KEY NAME VALUE: makes the value, and missing keys on its path. A key of that name is replaced
// by a value, or a value by a dictionary, only with --replace-key. --if-equals, --if-absent and
// --keep-type are conditions on the present value. --append, --insert and NAME[2] change an array.
// kConditionNotMet when a condition is not met or a key or value may not be replaced; kNotSaved for
// a path through a value. A change of the type is reported on Context::error.
int Set(const Context& context, const CommandLine& line);

// delete KEY NAME: removes a value or an element; a key with everything below it only with
// --recursive (else kConditionNotMet). kNotFound when it does not exist.
int Delete(const Context& context, const CommandLine& line);

// Whole keys, and values with a name.

// delete-key KEY: removes an empty key, or with --recursive any key; otherwise kUsage, as for the
// domain's top level.
int DeleteKey(const Context& context, const CommandLine& line);

// reset KEY: removes everything below the key, which stays; "" means the domain. kDone also for a
// missing key.
int Reset(const Context& context, const CommandLine& line);

// rename and copy: two keys, or KEY NAME twice. The target is replaced only with --replace (else
// kConditionNotMet). A key cannot move below itself. copy --to-scope and --to-domain read the
// source without a lock and write the target in one transaction.
int Rename(const Context& context, const CommandLine& line);
int Copy(const Context& context, const CommandLine& line);

// The contents of a key; the whole domain for an empty one. A value instead of a key is kNotFound.

// list [KEY]: prints the names, keys and values alike, in the order of their UTF-16 units.
int List(const Context& context, const CommandLine& line);

// tree [KEY]: prints path, type and value of everything below; an empty key is one row. With --json
// the tree itself.
int Tree(const Context& context, const CommandLine& line);

// find TEXT [KEY]: prints path, type and value of the entries that contain the text in the name or
// the value, by the options. kNotFound, without a message, when none does.
int Find(const Context& context, const CommandLine& line);

// browse [KEY]: the browser (browse/browser.h). kUsage without a usable terminal. If a signal asks
// the process to end, the unwritten changes are kept first.
int Browse(const Context& context, const CommandLine& line);

// watch [KEY]: prints each change of another process below the key, in the form of `diff`, until
// --count changes or for ever; JSON is one line for each change. --ready prints a first line when
// no later change can be missed. A damaged file is reported but does not count as a change.
// kNotFound when the file cannot be watched.
int Watch(const Context& context, const CommandLine& line);

// Domains and keys as files.

// export [KEY]: writes the key as a property list or JSON to --output, which is replaced as a whole
// (files.h: WriteWhole). On a terminal control characters are written as XML references. A file
// that would be too large to be read again is not written (kNotSaved).
int Export(const Context& context, const CommandLine& line);

// import FILE [KEY]: merges the entries of a property list or JSON file into the key, or with
// --replace makes the key equal to it. A value replaces a key, or a key a value, only with
// --replace-key (else kConditionNotMet). --dry-run prints the differences. --backup keeps a copy
// (files.h: CarryOut). kDamagedFile for a file of another form.
int Import(const Context& context, const CommandLine& line);

// diff FILE [KEY]: prints how the file differs from the key: a sign, the path, type and value
// before and after. A missing key counts as empty. With --exit-code kConditionNotMet if anything
// differs.
int Diff(const Context& context, const CommandLine& line);

// apply FILE: runs a script (change_script.h) and prints its changes. --check changes nothing and
// gives kWouldChange if anything would change. --secret never prints a part of a value. kUsage for
// a mistake in the script, kConditionNotMet for a condition that is not met; both name the line.
int Apply(const Context& context, const CommandLine& line);

// edit [KEY]: opens the key as JSON in the user's editor and makes the differences between the text
// before and after, so that untouched values stay to the bit. kConditionNotMet when the key has
// changed meanwhile. After any failure the edited text is kept and its file named.
int Edit(const Context& context, const CommandLine& line);

// The files behind the store.

// lock: prints the state of the lock of the scope, its holder and since when. --release frees the
// record of a process that no longer runs, --force any record. The kernel's lock of a running
// process stays, and the process is named (kLockNotObtained). A lock file that another user has put
// there stays and is named (kDamagedFile, kNotSaved). Without permission to read the lock's file:
// kNotPermitted, and the state "not known".
int Lock(const Context& context, const CommandLine& line);

// where: prints the file of each scope, and whether it is sound and can be written. Always kDone.
int Where(const Context& context, const CommandLine& line);

// domains: prints the domains that have a file in the scope, with file and size.
int Domains(const Context& context, const CommandLine& line);

// check: reads the whole file of the domain. kDamagedFile, with the place of the damage.
int Check(const Context& context, const CommandLine& line);

// repair: saves the readable part of a damaged file and prints each loss with its place. The
// damaged file is always kept beside it, under an unused name. A file without anything to save
// stays (kNothingSaved), unless --replace allows an empty domain. --dry-run only prints. A sound
// file stays.
int Repair(const Context& context, const CommandLine& line);

// About the tool itself.

// help [COMMAND], and --help: prints the help of the program or of the command.
int Help(const Context& context, const CommandLine& line);

// complete -- WORD...: prints "words" or "files", then the possible completions of the last word,
// one on a line; after "files" the shell adds file names. Reads the store that the words name.
// Words that cannot be typed are left out.
int Complete(const Context& context, const CommandLine& line);

// Parses the arguments (argv of main), runs the command and returns its exit status; kNotSaved,
// after a message, when the output could not be written. `terminal` says that people read the
// output. Sets environment variables (UseStore), so calls must not overlap.
int Run(int argc, const char* const* argv, bool terminal, std::ostream& out, std::ostream& error);

}  // namespace orvik::prefstool
