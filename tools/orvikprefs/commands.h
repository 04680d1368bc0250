// The command line of orvikprefs and its commands.
//
// A command prints its result on Context::out and its messages on Context::error, each message one
// line that begins with "orvikprefs: " and in which no character acts on a terminal. It returns the
// exit status (context.h). kDone means that the whole command is carried out and, where something
// was changed, on disk. The words of its command line have the forms of the grammar already.
//
//   reading    one look at the file of the scope and domain; no lock is taken, nothing is made
//   changing   one transaction under the lock (prefs/transaction.h), all or nothing: after every
//              status but kDone the file is as it was
//
// All commands have these statuses in common, beside kDone:
//
//   kUsage             the words do not go together; nothing was read or changed
//   kNotFound          the domain has no file, or the key or value does not exist
//   kNotSaved          the change is not on disk, or the output could not be written
//   kLockNotObtained   a change waited for the lock in vain; the message names the holder
//   kDamagedFile       the file is not a property list of entries, or cannot be read; it stays
//   kNotPermitted      the file may not be read
//
// A damaged file is replaced by `repair` alone. The output is a table of fields separated by tabs,
// on a terminal aligned and coloured, with --json for programs, with -z for names with line breaks
// (Context::Record).
#pragma once

#include <iosfwd>

#include "prefs/key_path.h"
#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/grammar.h"

namespace orvik::prefstool {

// The tables of all commands and options: parser, help, completion and the test of the manual page
// follow them.
const Grammar& OrvikPrefsGrammar();

// Fails a command that reads a key with the status for `status`. When the path leads to a value the
// message says so and names the command that prints it.
int FailToReadKey(const Context& context, const PrefStatus& status, const KeyPath& key);

// Takes the scope, domain and folders from the line: --root and --home set ORVIK_SYSTEM_ROOT and
// HOME of this process. False, after a message, when a folder is not one.
bool UseStore(Context& context, const CommandLine& line);

// The store that --to-scope and --to-domain name; the context's own without them.
Context TargetStore(const Context& context, const CommandLine& line);

// One value.

// get KEY [NAME]: prints a value, an element (NAME[2]) or, as JSON, a whole key; with --type its
// type. --format xml prints a property list. --show-scope prints each scope that has it: scope,
// file, type, value. A value that does not exist is kNotFound, or --default as a string.
int Get(const Context& context, const CommandLine& line);

// set KEY NAME VALUE: makes the value, and the keys that are missing on the way. A key of that
// name, or a value where VALUE is a dictionary, is replaced only with --replace-key. --if-equals,
// --if-absent and --keep-type are conditions on what is present. --append, --insert and NAME[2]
// change an array. kConditionNotMet for a condition that does not hold and for what is in the way;
// kNotSaved for a path that leads through a value. A value that changes its type is told on
// Context::error.
int Set(const Context& context, const CommandLine& line);

// delete KEY NAME: removes a value or an element; a key with everything below it only with
// --recursive (kConditionNotMet). kNotFound when there is none.
int Delete(const Context& context, const CommandLine& line);

// Whole keys, and values with a name.

// delete-key KEY: removes an empty key, or with --recursive any; kUsage for one that is not empty
// and for the domain's top level.
int DeleteKey(const Context& context, const CommandLine& line);

// reset KEY: removes everything below the key, which stays; "" means the domain. kDone for a key
// that does not exist.
int Reset(const Context& context, const CommandLine& line);

// rename and copy: two keys, or KEY NAME twice. The target is replaced only with --replace
// (kConditionNotMet). A key cannot move below itself. copy --to-scope and --to-domain read here and
// write there, in one transaction of the target; the source is not locked.
int Rename(const Context& context, const CommandLine& line);
int Copy(const Context& context, const CommandLine& line);

// The contents of a key; the whole domain for an empty one. A value in its place is kNotFound.

// list [KEY]: prints the names, keys and values alike, in the order of their UTF-16 units.
int List(const Context& context, const CommandLine& line);

// tree [KEY]: prints path, type and value of everything below; an empty key is a row of its own.
// With
// --json the tree itself.
int Tree(const Context& context, const CommandLine& line);

// find TEXT [KEY]: prints path, type and value of what holds the text, in the name or the value, as
// the options say. kNotFound, without a message, when nothing does.
int Find(const Context& context, const CommandLine& line);

// browse [KEY]: the browser (browse/browser.h). kUsage without a terminal that can show it. A
// signal that asks the process to end does so, after the unwritten changes were kept.
int Browse(const Context& context, const CommandLine& line);

// watch [KEY]: prints each change of another process below the key, as `diff` does, until --count
// of them, or for ever; JSON is one line a change. --ready prints a first line when no later change
// can be missed. A file that is damaged at a moment is told, and changes nothing. kNotFound when
// the file cannot be watched.
int Watch(const Context& context, const CommandLine& line);

// Domains and keys as files.

// export [KEY]: writes the key as a property list or JSON to --output (files.h: WriteWhole), which
// is replaced whole. On a terminal characters that would act on it are references of XML. What
// could not be read again for its size is not written (kNotSaved).
int Export(const Context& context, const CommandLine& line);

// import FILE [KEY]: merges the entries of a property list or JSON file, whichever it is, into the
// key, or with --replace makes the key equal to it. A value takes the place of a key, or a key that
// of a value, only with --replace-key (kConditionNotMet). --dry-run prints what would differ.
// --backup keeps a copy (files.h: CarryOut). kDamagedFile for a file that is neither.
int Import(const Context& context, const CommandLine& line);

// diff FILE [KEY]: prints how the file differs from the key: a sign, the path, type and value
// before and after. A key that does not exist is empty. --exit-code ends with kConditionNotMet for
// any.
int Diff(const Context& context, const CommandLine& line);

// apply FILE: carries out a script (change_script.h) and prints what it changed. --check changes
// nothing and ends with kWouldChange for any difference. --secret prints no part of any value,
// whatever the status. kUsage for a mistake in the script, kConditionNotMet for a line that does
// not hold; both name the line.
int Apply(const Context& context, const CommandLine& line);

// edit [KEY]: opens the key as JSON in the user's editor and makes the changes between the text
// before and after, so that what JSON cannot show stays to the bit. kConditionNotMet when the key
// has changed meanwhile. Whatever fails after the editor, the edited text is kept and its file
// named.
int Edit(const Context& context, const CommandLine& line);

// The files behind the store.

// lock: prints the state of the lock of the scope, its holder and since when. --release frees the
// record of a process that no longer runs, --force any record; the kernel's lock of a running
// process stays, and is named (kLockNotObtained). A lock's file that another user has put there is
// named and stays (kDamagedFile, kNotSaved). kNotPermitted, with "not known" as the state, when the
// lock's file may not be read.
int Lock(const Context& context, const CommandLine& line);

// where: prints the file of each scope, and whether it is sound and can be written. Always kDone.
int Where(const Context& context, const CommandLine& line);

// domains: prints the domains that have a file in the scope, with file and size.
int Domains(const Context& context, const CommandLine& line);

// check: reads the file of the domain whole. kDamagedFile, with the place of the damage.
int Check(const Context& context, const CommandLine& line);

// repair: saves what can be read of a damaged file and prints each loss with its place. The damaged
// file is always kept beside it, under a free name. A file of which nothing can be saved stays
// (kNothingSaved), unless --replace allows an empty domain. --dry-run only prints. A sound file is
// left alone.
int Repair(const Context& context, const CommandLine& line);

// About the tool itself.

// help [COMMAND], and --help: prints the help of the program or of the command.
int Help(const Context& context, const CommandLine& line);

// complete -- WORD...: prints "words" or "files", then the words that the last one can be completed
// to, one a line; after "files" the shell completes names of files itself. Reads the store that the
// words name. What cannot be typed is left out.
int Complete(const Context& context, const CommandLine& line);

// Parses the arguments (argv as main has it), carries the command out and returns its exit status;
// kNotSaved, after a message, when the output could not be written. `terminal` says that people
// read the output. Sets variables of the environment (UseStore), so one call at a time.
int Run(int argc, const char* const* argv, bool terminal, std::ostream& out, std::ostream& error);

}  // namespace orvik::prefstool
