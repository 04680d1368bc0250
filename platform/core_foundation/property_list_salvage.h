// What can still be read of a damaged property list in the binary or the old text form. Everything
// that is whole and has its place is kept; the rest is passed over and named. Damaged XML is for
// the store of preferences, which uses this.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/property_list.h"

namespace [[gnu::visibility("default")]] orvik {

struct PropertyListLoss {
  std::string path;   // the keys and indices that lead to it, with "/" between them, in UTF-8
  const char* what;   // a short English text in lower case
  std::size_t place;  // the byte at which it was found
  std::size_t bytes;  // how many are lost there
};

// Counts all losses and keeps the first of them.
class PropertyListLosses {
 public:
  static constexpr std::size_t kMost = 1000;
  // Of all paths together: long keys must not make the list larger than the file.
  static constexpr std::size_t kMostPathBytes = 1 << 16;

  // `path` gives the path of what is lost.
  template <typename Path>
  void Add(Path path, const char* what, std::size_t place, std::size_t bytes) {
    ++count_;
    if (list_.size() == kMost || path_bytes_ > kMostPathBytes) return;
    list_.push_back({path(), what, place, bytes});
    path_bytes_ += list_.back().path.size();
  }

  std::size_t count() const { return count_; }
  const std::vector<PropertyListLoss>& list() const { return list_; }

 private:
  std::size_t count_ = 0;
  std::size_t path_bytes_ = 0;
  std::vector<PropertyListLoss> list_;
};

// Both give the root with mutable containers, owned by the caller; null when even that is lost. The
// places in the old text form are those in `text`, which is UTF-8.
CFPropertyListRef SalvageBinaryPropertyList(std::string_view bytes, PropertyListLosses& losses);
CFPropertyListRef SalvageTextPropertyList(std::string_view text, PropertyListLosses& losses);

// The text of a damaged property list as UTF-8. What is no character in a text of UTF-16 or UTF-32
// becomes the byte 0xFF, which is no UTF-8 either; other text stays as it is, without its mark.
std::string SalvagedText(std::string_view bytes);

}  // namespace orvik
