// The command line of orvikprefs and its commands.
//
// A command prints its result on Context::out and its messages on Context::error. It returns the
// exit status (context.h); kDone means that the whole command is carried out and on disk. The words
// of its command line have the forms of the grammar. A command changes the store in one
// transaction, all or nothing.
#pragma once

#include <iosfwd>

#include "prefs/key_path.h"
#include "tools/orvikprefs/context.h"
#include "tools/orvikprefs/grammar.h"

namespace orvik::prefstool {

// The tables of all commands and options.
const Grammar& OrvikPrefsGrammar();

// Fails a command that reads a key: when the path leads to a value, the message says so.
int FailToReadKey(const Context& context, const PrefStatus& status, const KeyPath& key);

// Takes the scope, domain and folders from the line. False, after a message, when a folder is not
// one.
bool UseStore(Context& context, const CommandLine& line);

// One value.
int Get(const Context& context, const CommandLine& line);
int Set(const Context& context, const CommandLine& line);
int Delete(const Context& context, const CommandLine& line);

// Whole keys, and values with a name.
int DeleteKey(const Context& context, const CommandLine& line);
int Reset(const Context& context, const CommandLine& line);
int Rename(const Context& context, const CommandLine& line);
int Copy(const Context& context, const CommandLine& line);

// The contents of a key; the whole domain for an empty one.
int List(const Context& context, const CommandLine& line);
int Tree(const Context& context, const CommandLine& line);
int Find(const Context& context, const CommandLine& line);
int Browse(const Context& context, const CommandLine& line);
int Watch(const Context& context, const CommandLine& line);

// Domains and keys as files.
int Export(const Context& context, const CommandLine& line);
int Import(const Context& context, const CommandLine& line);
int Diff(const Context& context, const CommandLine& line);
int Apply(const Context& context, const CommandLine& line);
int Edit(const Context& context, const CommandLine& line);

// The files behind the store.
int Lock(const Context& context, const CommandLine& line);
int Where(const Context& context, const CommandLine& line);
int Domains(const Context& context, const CommandLine& line);
int Check(const Context& context, const CommandLine& line);
int Repair(const Context& context, const CommandLine& line);

// About the tool itself.
int Help(const Context& context, const CommandLine& line);
int Complete(const Context& context, const CommandLine& line);

// Parses the arguments (argv as main has it), carries the command out and gives the exit status.
// terminal says that people read the output.
int Run(int argc, const char* const* argv, bool terminal, std::ostream& out, std::ostream& error);

}  // namespace orvik::prefstool
