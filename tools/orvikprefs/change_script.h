// Scripts of conditions and changes: what a domain is to hold, in lines.
//
//   # a comment; empty lines count for nothing
//   set KEY NAME VALUE           the value is this one; a dictionary holds nothing else
//   add-element KEY NAME VALUE   the array holds this element, if need be as its last one
//   delete KEY NAME              the value does not exist
//   make-key KEY                 the key exists
//   delete-key KEY               the key does not exist
//   merge KEY OBJECT             the key holds these entries, among others
//   replace KEY OBJECT           the key holds these entries and no others
//   require KEY NAME VALUE       conditions, on what the lines above leave
//   require-absent KEY NAME
//   require-key KEY
//   require-no-key KEY
//   require-empty-key KEY
//
// A KEY is a key path, or a JSON array of names; "" is the domain. KEY and NAME are JSON strings,
// or bare words without blanks, quotes, brackets and braces. VALUE and OBJECT are JSON
// (json.h). A change that is made already changes nothing. "set", "merge" and "replace" put a
// value where a key was, or a key where a value was, only with "--replace-key" before the KEY;
// without it, and with every other line, the script fails. "set" with "--keep-type" fails where the
// present value has another type.
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
  // Adds the conditions and changes of the text, UTF-8 with an optional byte order mark and any
  // line ends, to the transaction, in the order of its lines. False, with the place and reason of
  // the first mistake, when the text is not a script; the transaction must then not be committed.
  bool Read(std::string_view text, Transaction& transaction, TextError* error);

  // The line, from 1, and its words, that made a step of the transaction (PrefStatus::step).
  struct Line {
    std::size_t number;
    std::string text;
    const char* advice;     // for a key or value that is in the way
    const char* condition;  // what is wrong when its condition does not hold
    bool is_condition;      // it changes nothing
  };
  // `step` is one that Read added, from 0.
  const Line& LineOf(int step) const { return steps_[static_cast<std::size_t>(step)]; }
  std::size_t step_count() const { return steps_.size(); }

 private:
  std::vector<Line> steps_;
};

}  // namespace orvik::prefstool
