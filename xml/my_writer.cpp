#include "xml/my_writer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "streams/stream_factory.h"
#include "strings/utf8_strings.h"
#include "text/characters.h"
#include "text/xml_scanner.h"

namespace orvik {
namespace {

std::string_view TextOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

constexpr bool IsControl(char byte) {
  return static_cast<unsigned char>(byte) < 0x20 &&
         !IsXmlCharacter(static_cast<unsigned char>(byte));
}

enum class ByteClass : unsigned char { kPlain, kEndsStretch, kControl };

// The five escaped bytes and the terminator end a stretch that is written unchanged.
constexpr std::array<ByteClass, 256> kClasses = [] {
  std::array<ByteClass, 256> classes{};
  for (unsigned char byte = 1; byte < 0x20; ++byte) {
    if (IsControl(static_cast<char>(byte))) classes[byte] = ByteClass::kControl;
  }
  for (const char byte : {'\0', '&', '\'', '"', '<', '>'}) {
    classes[static_cast<unsigned char>(byte)] = ByteClass::kEndsStretch;
  }
  return classes;
}();

ByteClass ClassOf(char byte) {
  return kClasses[static_cast<unsigned char>(byte)];
}

// Eight bytes as one number, so that one test covers all of them: it sets the highest bit of each
// byte that passes. A borrow may also set bits above that bit, so only the lowest set bit is
// certain. The result is 0 if no byte passes.
constexpr std::uint64_t kOnes = 0x0101010101010101, kHighest = 0x80 * kOnes;

std::uint64_t EightBytes(const char* at) {
  std::uint64_t bytes;
  std::memcpy(&bytes, at, sizeof bytes);
  return bytes;
}
constexpr std::uint64_t BelowSpace(std::uint64_t bytes) {
  return (bytes - 0x20 * kOnes) & ~bytes & kHighest;
}
// Which bytes are one of two that differ only in the bits of `differs`.
constexpr std::uint64_t OneOfTwo(std::uint64_t bytes, std::uint64_t one, std::uint64_t differs) {
  const std::uint64_t zero = (bytes & ~(differs * kOnes)) ^ one * kOnes;
  return (zero - kOnes) & ~zero & kHighest;
}
// Which bytes are below 0x20 or one of the five escaped ones.
constexpr std::uint64_t Special(std::uint64_t bytes) {
  return BelowSpace(bytes) | OneOfTwo(bytes, '&', '&' ^ '\'') | OneOfTwo(bytes, '<', '<' ^ '>') |
         OneOfTwo(bytes, '"', 0);
}

bool HasControl(std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  for (; end - at >= 8; at += 8) {
    if (BelowSpace(EightBytes(at)) != 0 && std::any_of(at, at + 8, IsControl)) return true;
  }
  // Without a branch: most names are shorter than eight bytes.
  bool has_control = false;
  for (; at != end; ++at) has_control |= IsControl(*at);
  return has_control;
}

// Lets write(at) put up to `most` bytes into the room of a stream and return their end. False,
// without a change, when there is no room or `most` bytes do not fit.
template <typename Write>
bool PutInRoom(WriteRoom* room, std::size_t most, const Write& write) {
  if (room == nullptr || room->free < most) return false;
  char* const begin = reinterpret_cast<char*>(room->next);
  const auto count = static_cast<std::size_t>(write(begin) - begin);
  room->next += count;
  room->free -= count;
  return true;
}

char* Copied(char* at, std::string_view text) {
  CopyPiece(reinterpret_cast<unsigned char*>(at), text.data(), text.size());
  return at + text.size();
}

// A byte becomes at most six, and whole words are stored, which adds up to eight bytes.
constexpr std::size_t MostEscaped(std::size_t count) {
  return 6 * count + 8;
}

// Writes the text escaped and returns its end. May overwrite up to MostEscaped bytes.
char* Escaped(char* at, std::string_view text, bool& has_control) {
  const char* from = text.data();
  const char* const end = from + text.size();
  while (from != end) {
    if (end - from >= 8) {
      const std::uint64_t bytes = EightBytes(from);
      std::memcpy(at, &bytes, sizeof bytes);
      const std::uint64_t special = Special(bytes);
      std::ptrdiff_t plain = 8;
      if (special != 0) {
        plain = std::endian::native == std::endian::little ? std::countr_zero(special) / 8 : 0;
      }
      from += plain;
      at += plain;
      if (special == 0) continue;
    }
    const ByteClass byte_class = ClassOf(*from);
    if (byte_class == ByteClass::kEndsStretch) {
      const std::string_view reference = XmlReference(*from);
      at = Copied(at, reference);
    } else {
      if (byte_class == ByteClass::kControl) has_control = true;
      *at++ = *from;
    }
    ++from;
  }
  return at;
}

}  // namespace

HRESULT CMyWriter::QueryInterface(const _GUID&, void**) {
  return E_NOTIMPL;
}

inline void CMyWriter::Put(std::string_view text) {
  if (room_ != nullptr && room_->Put(text.data(), text.size())) return;
  Note(output_->Write(text.data(), text.size(), nullptr));
}

inline HRESULT CMyWriter::nonescapedcharacters(std::string_view text) {
  if (output_ == nullptr) return E_FAIL;
  Put(text);
  return S_OK;
}

HRESULT CMyWriter::PutGiven(const char* text) {
  const std::string_view given = TextOf(text);
  if (HasControl(given)) Note(XMLWriterFault::kControlCharacter);
  return nonescapedcharacters(given);
}

HRESULT CMyWriter::escapedcharacters(const char* text) {
  if (output_ == nullptr) return E_FAIL;
  const char* stretch = text == nullptr ? "" : text;
  for (const char* end = stretch;;) {
    while (ClassOf(*end) == ByteClass::kPlain) ++end;
    if (ClassOf(*end) == ByteClass::kControl) {
      Note(XMLWriterFault::kControlCharacter);
      ++end;
      continue;
    }
    Put({stretch, static_cast<std::size_t>(end - stretch)});
    if (*end == '\0') return S_OK;
    Put(XmlReference(*end));
    stretch = ++end;
  }
}

void CMyWriter::FinishOpenElement() {
  if (!start_tag_open_) return;
  nonescapedcharacters(">");
  start_tag_open_ = false;
}

HRESULT CMyWriter::OutputXMLHeader() {
  nonescapedcharacters("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>");
  return S_OK;
}

HRESULT CMyWriter::OutputSVGBlockForExport(const char* text) {
  PutGiven(text);
  return S_OK;
}

HRESULT CMyWriter::startElement(const char* name) {
  const std::string_view given = TextOf(name);
  open_.push_back(names_.size());
  names_ += given;
  const bool is_put = PutInRoom(room_, given.size() + 2, [&](char* at) {
    if (start_tag_open_) *at++ = '>';
    *at++ = '<';
    return Copied(at, given);
  });
  if (is_put) {
    if (HasControl(given)) Note(XMLWriterFault::kControlCharacter);
  } else {
    FinishOpenElement();
    nonescapedcharacters("<");
    PutGiven(name);
  }
  start_tag_open_ = true;
  return S_OK;
}

HRESULT CMyWriter::endElement(const char* name) {
  const std::string_view ended = TextOf(name);
  if (open_.empty()) {
    Note(XMLWriterFault::kNesting);
  } else {
    // "/>" ends the right element, whatever the name.
    const std::string_view innermost = std::string_view(names_).substr(open_.back());
    if (!start_tag_open_ && innermost != ended) Note(XMLWriterFault::kNesting);
    names_.resize(open_.back());
    open_.pop_back();
  }
  if (start_tag_open_) {
    nonescapedcharacters("/>");
  } else {
    const bool is_put = PutInRoom(room_, ended.size() + 3, [&](char* at) {
      return Copied(Copied(Copied(at, "</"), ended), ">");
    });
    if (!is_put) {
      nonescapedcharacters("</");
      nonescapedcharacters(ended);
      nonescapedcharacters(">");
    }
  }
  start_tag_open_ = false;
  return S_OK;
}

inline HRESULT CMyWriter::BeginAttribute(const char* name, std::string_view opening) {
  if (!start_tag_open_) Note(XMLWriterFault::kNesting);
  nonescapedcharacters(" ");
  PutGiven(name);
  return nonescapedcharacters(opening);
}

HRESULT CMyWriter::WriteTextAttribute(const char* name, const char* value) {
  const std::string_view given_name = TextOf(name);
  const std::string_view given_value = TextOf(value);
  bool has_control = HasControl(given_name);
  const bool is_put =
      PutInRoom(room_, given_name.size() + MostEscaped(given_value.size()) + 4, [&](char* at) {
        *at++ = ' ';
        at = Escaped(Copied(Copied(at, given_name), "=\""), given_value, has_control);
        *at++ = '"';
        return at;
      });
  if (!is_put) return WriteLongTextAttribute(name, value, nullptr, nullptr);
  if (!start_tag_open_) Note(XMLWriterFault::kNesting);
  if (has_control) Note(XMLWriterFault::kControlCharacter);
  return S_OK;
}

HRESULT CMyWriter::WriteLongTextAttribute(const char* name, const char* part1, const char* part2,
                                          const char* part3) {
  BeginAttribute(name, "=\"");
  escapedcharacters(part1);
  if (part2 != nullptr) {
    escapedcharacters(part2);
    if (part3 != nullptr) escapedcharacters(part3);
  }
  return nonescapedcharacters("\"");
}

HRESULT CMyWriter::WriteTextAttributeW(const char* name, const char16_t* value) {
  return WriteTextAttribute(name, MakeUTF8StringFromUnicodeString(CAtlString(value)).GetString());
}

HRESULT CMyWriter::WriteTextAttributeBySingleQuotation(const char* name, const char* value) {
  BeginAttribute(name, "='");
  escapedcharacters(value);
  return nonescapedcharacters("'");
}

HRESULT CMyWriter::WriteEscapedElementContents(const char* text) {
  FinishOpenElement();
  escapedcharacters(text);
  return S_OK;
}

HRESULT CMyWriter::WriteElementContents(const char* text) {
  FinishOpenElement();
  return PutGiven(text);
}

HRESULT CMyWriter::Finish() {
  NoteEnd();
  Note(output_ == nullptr ? E_FAIL : FinishStream(output_));
  return status_;
}

CMyStringWriter::CMyStringWriter() {
  CStreamFactory::CreateWritableBufferStream(&buffer_);
  SetOutput(buffer_);
}

CAtlStringA CMyStringWriter::get_output() {
  NoteEnd();
  CAtlStringA text = buffer_->DetachBufferAsString();
  Note(FinishStream(buffer_));  // a string holds less than 2 GiB
  return text;
}

CMyFileWriter::CMyFileWriter(const COrvikFilePath& path, bool compressed) {
  SetOutput(compressed ? CStreamFactory::CreateWritableCompressedFileStream(path)
                       : CStreamFactory::CreateWritableFileStream(path));
}

CAtlStringA CMyFileWriter::get_output() {
  return CAtlStringA();
}

}  // namespace orvik
