// A path of any length for system calls that take a folder descriptor and a name.
//
// The kernel refuses paths of 4,096 bytes and more, trees have no such limit. A longer path is
// walked in pieces: the folder of the last piece is opened and the calls name the rest relative to
// it. A short path costs nothing. Links in the middle of a path are followed, as always.
#pragma once

#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

class AtPath {
 public:
  // `path` must outlive the object.
  explicit AtPath(const std::string& path);
  ~AtPath();
  AtPath(const AtPath&) = delete;
  AtPath& operator=(const AtPath&) = delete;

  // 0, or the errno of the piece that could not be opened; the calls then fail with it too.
  int error() const { return error_; }

  int folder() const { return folder_; }
  const char* name() const { return name_; }

  // For the calls that have no such form (extended attributes): a short path that means the same
  // while this object lives.
  std::string ShortPath() const;

 private:
  int folder_;
  const char* name_;
  int error_ = 0;
};

}  // namespace host
}  // namespace orvik
