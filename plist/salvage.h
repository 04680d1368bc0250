// Reads the intact values of a damaged property list in any of its three forms. Reports every other
// value as a loss.
//
//   file       {a = 1; b = "open; c = 2;}     the end of a string is missing
//   entries    {a = 1; c = 2;}
//   losses     path "b": text that cannot be read
//
// Salvage never fails: for a hopeless file the entries are empty, and one loss covers the whole
// file. The limits of depth and size are those of reading (sink.h); a part beyond them is a loss.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "plist/value.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

struct Loss {
  std::string path;        // keys and indices to the lost value, separated by "/", in UTF-8
  const char* what;        // a short English text in lower case
  std::size_t place;       // the byte at which the loss begins
  std::size_t bytes;       // the number of bytes lost there; 0 if only a tag is missing
  std::size_t line = 0;    // from 1, in the text as UTF-8; 0 in the binary form
  std::size_t column = 0;  // from 1, in characters; in the binary form the byte, from 0
};

// Counts all losses and keeps the first ones.
class Losses {
 public:
  static constexpr std::size_t kMost = 1000;
  // The limit of all paths together: long keys must not make the list larger than the file.
  static constexpr std::size_t kMostPathBytes = 1 << 16;

  // Calls `path` for the path of the lost value, but only if the loss is kept.
  template <typename Path>
  void Add(Path path, const char* what, std::size_t place, std::size_t bytes) {
    ++count_;
    if (list_.size() == kMost || path_bytes_ > kMostPathBytes) return;
    list_.push_back({path(), what, place, bytes});
    path_bytes_ += list_.back().path.size();
  }
  // Sets the bytes of a loss in the list, once its end is known.
  void SetBytes(std::size_t index, std::size_t bytes) { list_[index].bytes = bytes; }

  std::size_t count() const { return count_; }
  const std::vector<Loss>& list() const { return list_; }

  // Sorts the list by place and sets the lines and columns in the text. In the binary form `text`
  // is null, and the column is the byte.
  void NamePlaces(const std::string_view* text);

 private:
  std::size_t count_ = 0;
  std::size_t path_bytes_ = 0;
  std::vector<Loss> list_;
};

struct Salvage {
  // A dictionary; empty when the root of the bytes is not one.
  Value entries = Value::Dictionary();
  Losses losses;
};

// Takes every intact value that has a place and skips all others. Reads XML and the old text form
// in UTF-8 and UTF-16, XML also in another encoding based on ASCII, and the binary form if its
// table of objects is intact. XML whose encoding is unknown is read as UTF-8, and the encoding is a
// loss. Takes time and memory proportional to the bytes. `bytes` must not be null. An undamaged
// list comes back complete and without losses, unless its root is not a dictionary.
Salvage SalvageEntries(const Bytes& bytes);

// No entries, and a single loss for the whole file.
Salvage LoseEverything(const char* what, const Bytes& bytes);

// One function for each form. Each returns the root, or no value if even that is lost. Places are
// bytes in `text`, which is UTF-8, or in `bytes`.
Value SalvageBinary(std::string_view bytes, Losses& losses);
Value SalvageOldText(std::string_view text, Losses& losses);
// Tags with one wrong byte count as the original tags. If the list is indented as this system
// writes it, the indentation shows which end tag is lost.
Value SalvageXml(std::string_view text, Losses& losses);

// The text of a damaged property list as UTF-8. Unpaired surrogates and invalid characters of
// UTF-16 or UTF-32 become the byte 0xFF, which is not valid UTF-8 either. Other text stays
// unchanged, without its byte-order mark.
std::string SalvagedText(std::string_view bytes);

}  // namespace plist
}  // namespace orvik
