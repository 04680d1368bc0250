#include "tools/orvikprefs/backup.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "host/node_copy.h"
#include "prefs/reporting.h"

namespace orvik::prefstool {

void Backup::AddTo(Transaction& transaction) {
  if (is_wanted_) {
    transaction.RequireThat(u"", u"", [this](CFTypeRef) { return Copy(); });
  }
}

bool Backup::Copy() {
  constexpr int kTries = 100;
  const std::string file = PreferenceFilePath(context_.scope, context_.domain);
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  char moment[32] = "";
  gmtime_r(&now, &parts);
  std::strftime(moment, sizeof moment, ".backup-%Y-%m-%dT%H:%M:%SZ", &parts);
  host::NodeCopy how;
  how.flush = true;
  error_ = EEXIST;
  for (int number = 1; error_ == EEXIST && number <= kTries; ++number) {
    path_ = file + moment + (number > 1 ? "-" + std::to_string(number) : std::string());
    error_ = host::CopyNode(file, path_, how);
  }
  if (error_ == ENOENT) {
    error_ = 0;
    path_.clear();
  }
  return error_ == 0;
}

bool Backup::Failed() const {
  if (error_ != 0) context_.FailFile(path_, error_, true);
  return error_ != 0;
}

void Backup::Discard() {
  if (!path_.empty()) unlink(path_.c_str());
  path_.clear();
}

}  // namespace orvik::prefstool
