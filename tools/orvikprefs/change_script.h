// Scripts of conditions and changes: the wanted contents of a domain, in lines.
//
//   # a comment; empty lines are ignored
//   set KEY NAME VALUE           the value is this one; a dictionary has no other entries
//   add-element KEY NAME VALUE   the array contains this element; a missing one is appended
//   delete KEY NAME              the value does not exist
//   make-key KEY                 the key exists
//   delete-key KEY               the key does not exist
//   merge KEY OBJECT             the key contains these entries, and may contain others
//   replace KEY OBJECT           the key contains these entries and no others
//   require KEY NAME VALUE       conditions on the entries as the lines above leave them
//   require-absent KEY NAME
//   require-key KEY
//   require-no-key KEY
//   require-empty-key KEY
//
// A KEY is a key path, or a JSON array of names; "" is the domain. KEY and NAME are JSON strings,
// or bare words without blanks, quotes, brackets and braces. VALUE and OBJECT are JSON (json.h). A
// line whose change is already made changes nothing. "set", "merge" and "replace" replace a key by
// a value, or a value by a key, only with "--replace-key" before the KEY; without it, and with
// every other line, the script fails. "set" with "--keep-type" fails if the present value has
// another type.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "prefs/transaction.h"
#include "tools/orvikprefs/json.h"

namespace orvik::prefstool {

// A script that was read, for messages about its lines.
class ChangeScript {
 public:
  // Adds the conditions and changes of the text to the transaction, in the order of its lines. The
  // text is UTF-8 with an optional byte order mark and any line ends. False, with the place and
  // reason of the first mistake, when it is not a valid script; the transaction must then not be
  // committed.
  bool Read(std::string_view text, Transaction& transaction, TextError* error);

  // The number of the line, from 1, and its text, for a step of the transaction (PrefStatus::step).
  struct Line {
    std::size_t number;
    std::string text;
    const char* advice;     // for an obstacle: a key or a value
    const char* condition;  // the message if its condition is not met
    bool is_condition;      // it changes nothing
  };
  // `step` is a step that Read added, from 0.
  const Line& LineOf(int step) const { return steps_[static_cast<std::size_t>(step)]; }
  std::size_t step_count() const { return steps_.size(); }

 private:
  std::vector<Line> steps_;
};

}  // namespace orvik::prefstool
