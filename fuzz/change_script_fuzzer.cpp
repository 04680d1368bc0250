// Scripts of "apply": a valid script is carried out, or refused with the number of a line. If it
// can be carried out twice, the second time changes nothing.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "prefs/scope.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/change_script.h"

using orvik::fuzz::Require;
using namespace orvik::prefstool;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvik::fuzz::ScratchFolder folder;
  const std::string text = orvik::fuzz::Bytes(data, size);
  orvik::Transaction transaction(orvik::kSharedScope, u"fuzz");
  ChangeScript script;
  TextError error;
  if (!script.Read(text, transaction, &error)) {
    Require(!error.reason.empty() && error.byte <= size && error.line >= 1 && error.column >= 1);
    return 0;
  }
  orvik::TransactionResult rehearsed, done;
  const orvik::PrefStatus status = transaction.DryRun(&rehearsed);
  Require(status.step < static_cast<int>(script.step_count()));
  if (status.step >= 0) Require(script.LineOf(status.step).number >= 1);
  const orvik::PrefStatus saved = transaction.Commit(orvik::IfDamaged::kFail, &done);
  Require(saved.error == status.error && saved.step == status.step);
  if (saved.ok()) {
    Require(rehearsed.after == done.after);
    orvik::TransactionResult again;
    if (transaction.DryRun(&again).ok()) Require(again.before == again.after);
  }
  orvik::fuzz::RemoveAllIn(folder.root());
  return 0;
}
