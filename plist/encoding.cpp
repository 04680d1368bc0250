#include "plist/encoding.h"

#include <strings.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "plist/salvage.h"
#include "text/characters.h"
#include "text/shown_text.h"
#include "text/transcoding.h"
#include "text/unicode_library.h"

namespace orvik::plist {
namespace {

using namespace std::string_view_literals;

constexpr size_t kLongestDeclaration = 256;

// Whether the bytes are invalid in an encoding. Throws when memory runs out.
bool Fails(UErrorCode error) {
  if (error == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
  return U_FAILURE(error);
}

// Converts in pieces, because the length of the result is unknown. The callbacks make ICU stop at
// malformed bytes instead of writing a substitute.
std::optional<std::string> Convert(std::string_view bytes, const char* encoding) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Converter source(icu::ucnv_open(encoding, &error));
  const icu::Converter target(icu::ucnv_open("UTF-8", &error));
  if (Fails(error)) return std::nullopt;
  icu::ucnv_setToUCallBack(source.get(), icu::UCNV_TO_U_CALLBACK_STOP.Get(), nullptr, nullptr,
                           nullptr, &error);
  icu::ucnv_setFromUCallBack(target.get(), icu::UCNV_FROM_U_CALLBACK_STOP.Get(), nullptr, nullptr,
                             nullptr, &error);
  std::string text;
  std::vector<UChar> pivot(4096);
  std::vector<char> chunk(16384);
  UChar* pivot_source = pivot.data();
  UChar* pivot_target = pivot.data();
  const char* from = bytes.data();
  bool first = true;
  do {
    error = U_ZERO_ERROR;
    char* to = chunk.data();
    icu::ucnv_convertEx(target.get(), source.get(), &to, chunk.data() + chunk.size(), &from,
                        bytes.data() + bytes.size(), pivot.data(), &pivot_source, &pivot_target,
                        pivot.data() + pivot.size(), first, true, &error);
    first = false;
    text.append(chunk.data(), to);
  } while (error == U_BUFFER_OVERFLOW_ERROR);
  if (Fails(error)) return std::nullopt;
  return text;
}

// The name of the encoding in an XML declaration at the start of the bytes.
std::string DeclaredEncoding(std::string_view bytes) {
  if (!bytes.starts_with("<?xml")) return {};
  std::string_view declaration = bytes.substr(0, kLongestDeclaration);
  declaration = declaration.substr(0, declaration.find("?>"));
  const size_t name = declaration.find("encoding");
  if (name == std::string_view::npos) return {};
  const size_t open = declaration.find_first_of("\"'", name);
  if (open == std::string_view::npos) return {};
  const size_t close = declaration.find(declaration[open], open + 1);
  if (close == std::string_view::npos) return {};
  return std::string(declaration.substr(open + 1, close - open - 1));
}

struct Signature {
  std::string_view bytes;
  const char* encoding;
  bool is_mark;
};

// UTF-32 comes first: its little-endian mark begins with that of UTF-16.
constexpr Signature kSignatures[] = {
    {"\x00\x00\xFE\xFF"sv, "UTF-32BE", true}, {"\xFF\xFE\x00\x00"sv, "UTF-32LE", true},
    {"\xFE\xFF"sv, "UTF-16BE", true},         {"\xFF\xFE"sv, "UTF-16LE", true},
    {"\x00\x00\x00<"sv, "UTF-32BE", false},   {"<\x00\x00\x00"sv, "UTF-32LE", false},
    {"\x00<"sv, "UTF-16BE", false},           {"<\x00"sv, "UTF-16LE", false},
};

bool NamesUnicode(const std::string& encoding) {
  return strncasecmp(encoding.c_str(), "utf", 3) == 0;
}

std::optional<Utf8Text> Converted(std::string_view bytes, const char* encoding) {
  std::optional<std::string> text = Convert(bytes, encoding);
  if (!text) return std::nullopt;
  Utf8Text utf8{std::make_shared<const std::string>(std::move(*text)), {}};
  utf8.text = *utf8.converted;
  return utf8;
}

// The signature with which `bytes` begin, or null. Removes a byte-order mark of UTF-8.
const Signature* SignatureOf(std::string_view& bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  const auto* const found =
      std::find_if(std::begin(kSignatures), std::end(kSignatures),
                   [&](const Signature& each) { return bytes.starts_with(each.bytes); });
  return found == std::end(kSignatures) ? nullptr : found;
}

std::optional<Utf8Text> Decode(std::string_view bytes) {
  if (const Signature* const signature = SignatureOf(bytes)) {
    return Converted(bytes.substr(signature->is_mark ? signature->bytes.size() : 0),
                     signature->encoding);
  }
  // The declaration was readable, so the bytes are not UTF-16, even if the declaration says so.
  const std::string encoding = DeclaredEncoding(bytes);
  if (!encoding.empty() && !NamesUnicode(encoding)) return Converted(bytes, encoding.c_str());
  if (!IsValidUtf8(bytes)) return std::nullopt;
  return Utf8Text{nullptr, bytes};
}

}  // namespace

std::optional<Utf8Text> TextAsUtf8(std::string_view bytes) {
  std::optional<Utf8Text> utf8 = Decode(bytes);
  if (utf8 && utf8->text.find('\0') != std::string_view::npos) return std::nullopt;
  return utf8;
}

std::string WhyNotText(std::string_view bytes) {
  std::string reason = "The data is neither a binary property list nor text of a known encoding";
  if (SignatureOf(bytes) != nullptr) return reason;
  const std::string encoding = DeclaredEncoding(bytes);
  if (!encoding.empty() && !NamesUnicode(encoding)) return reason;
  for (size_t at = 0, next = 0; at < bytes.size(); at = next) {
    const char32_t character = NextCharacter(bytes, next);
    const bool is_malformed = character == U'\uFFFD' && next == at + 1;
    if (character != 0 && !is_malformed) continue;
    const TextPlace place = PlaceInText(bytes, at);
    return reason + ": not UTF-8 text in line " + std::to_string(place.line) + ", column " +
           std::to_string(place.column);
  }
  return reason;
}

// Converts unit by unit, because a converter would stop at the first damaged unit.
std::string SalvagedText(std::string_view bytes) {
  const Signature* const signature = SignatureOf(bytes);
  if (signature == nullptr) return std::string(bytes);
  if (signature->is_mark) bytes.remove_prefix(signature->bytes.size());
  const std::string_view encoding = signature->encoding;
  const size_t width = encoding.starts_with("UTF-32") ? 4 : 2;
  const bool is_big = encoding.ends_with("BE");
  const auto unit = [&](size_t at) {
    char32_t value = 0;
    for (size_t i = 0; i < width; ++i) {
      value = value << 8 | static_cast<unsigned char>(bytes[at + (is_big ? i : width - 1 - i)]);
    }
    return value;
  };
  std::string text;
  size_t at = 0;
  for (; at + width <= bytes.size(); at += width) {
    const char32_t first = unit(at);
    const bool has_pair = width == 2 && IsHighSurrogate(first) && at + 2 * width <= bytes.size() &&
                          IsLowSurrogate(static_cast<char16_t>(unit(at + width)));
    if (has_pair) {
      AppendCharacter(text, FromSurrogates(static_cast<char16_t>(first),
                                           static_cast<char16_t>(unit(at + width))));
      at += width;
    } else if (!IsCharacter(first)) {
      text += '\xFF';
    } else {
      AppendCharacter(text, first);
    }
  }
  // The text ends within a unit.
  if (at < bytes.size()) text += '\xFF';
  return text;
}

}  // namespace orvik::plist
