// Reads the intact values of a damaged property list in any of its three forms. Every value that is
// not saved is reported as a loss.
//
//   file       {a = 1; b = "open; c = 2;}     the end of a string is missing
//   entries    {a = 1; c = 2;}
//   losses     path "b": text that cannot be read
//
// Salvage never fails: of a hopeless file the entries are empty, and one loss covers all of it. The
// limits of depth and size are those of reading (sink.h); a part beyond them is a loss.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "plist/value.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

struct Loss {
  std::string path;        // the keys and indices that lead to it, with "/" between them, in UTF-8
  const char* what;        // a short English text in lower case
  std::size_t place;       // the byte at which it was found
  std::size_t bytes;       // how many are lost there; 0 where only a tag is missing
  std::size_t line = 0;    // from 1, in the text as UTF-8; 0 in the binary form
  std::size_t column = 0;  // from 1, in characters; in the binary form the byte, from 0
};

// Counts all losses and keeps the first of them.
class Losses {
 public:
  static constexpr std::size_t kMost = 1000;
  // Of all paths together: long keys must not make the list larger than the file.
  static constexpr std::size_t kMostPathBytes = 1 << 16;

  // Calls `path` for the path of the lost value, but only if the loss is kept.
  template <typename Path>
  void Add(Path path, const char* what, std::size_t place, std::size_t bytes) {
    ++count_;
    if (list_.size() == kMost || path_bytes_ > kMostPathBytes) return;
    list_.push_back({path(), what, place, bytes});
    path_bytes_ += list_.back().path.size();
  }
  // The bytes of a loss in the list, once its end is known.
  void SetBytes(std::size_t index, std::size_t bytes) { list_[index].bytes = bytes; }

  std::size_t count() const { return count_; }
  const std::vector<Loss>& list() const { return list_; }

  // Sorts the list by places, and sets lines and columns in the text; in the binary form, without a
  // text, the column is the byte.
  void NamePlaces(const std::string_view* text);

 private:
  std::size_t count_ = 0;
  std::size_t path_bytes_ = 0;
  std::vector<Loss> list_;
};

struct Salvage {
  // A dictionary; empty when the bytes hold none at their root.
  Value entries = Value::Dictionary();
  Losses losses;
};

// Takes every value that is whole and has its place, skips the others and goes on behind them: XML
// and the old text form in UTF-8 and UTF-16, XML also in another encoding that is based on ASCII;
// the binary form if its table of objects is whole. Takes time and memory proportional to the
// bytes.
// `bytes` must not be null. A sound list comes back whole, without losses, unless its root is not a
// dictionary.
Salvage SalvageEntries(const Bytes& bytes);

// No entries, and the whole file as one loss.
Salvage LoseEverything(const char* what, const Bytes& bytes);

// The forms. Each returns the root, or no value if even that is lost. Places are those in the text,
// which is UTF-8.
Value SalvageBinary(std::string_view bytes, Losses& losses);
Value SalvageOldText(std::string_view text, Losses& losses);
// Tags with one wrong byte count as what they were. Where the list is indented as this system
// writes it, the indentation shows whose end tag is lost.
Value SalvageXml(std::string_view text, Losses& losses);

// The text of a damaged property list as UTF-8. Units that are not a character in a text of UTF-16
// or UTF-32 become the byte 0xFF, which is not UTF-8 either; other text stays as it is, without its
// byte order mark.
std::string SalvagedText(std::string_view bytes);

}  // namespace plist
}  // namespace orvik
