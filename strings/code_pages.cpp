#include "strings/code_pages.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <optional>
#include <string_view>

#include "text/code_page_codec.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

constexpr char kLossByte = '?';

CodePage KnownCodePage(unsigned int code_page) {
  return IsKnownCodePage(code_page) ? code_page : kUtf8CodePage;
}

// The count as the interface's int; 0 when it does not fit.
template <class Count>
int AsCount(Count count) {
  return static_cast<unsigned long long>(count) <= INT_MAX ? static_cast<int>(count) : 0;
}

int DecodeUtf8Into(std::string_view bytes, char16_t* target, int target_length) {
  const char* source = bytes.data();
  const char* source_end = source + bytes.size();
  char16_t* at = target;
  char16_t* target_end = target + target_length;
  const TranscodingStop stop = DecodeUtf8(source, source_end, at, target_end);
  if (stop == TranscodingStop::kDone) return static_cast<int>(at - target);
  // The target is full: the rest must still be valid text. Half a surrogate pair fills the last
  // unit.
  const std::string_view rest(source, static_cast<size_t>(source_end - source));
  if (stop != TranscodingStop::kTargetFull || Utf16Length(rest) < 0) return 0;
  if (at < target_end) {
    char16_t pair[2];
    char16_t* pair_end = pair;
    DecodeUtf8(source, source_end, pair_end, pair + 2);
    *at = pair[0];
  }
  return target_length;
}

}  // namespace

BOOL IsValidCodePage(unsigned int code_page) {
  return IsKnownCodePage(code_page) ? TRUE : FALSE;
}

int WideCharToMultiByte(unsigned int code_page, unsigned long, const char16_t* source,
                        int source_length, char* target, int target_length,
                        const char* default_character, BOOL* used_default) {
  if (default_character != nullptr && used_default != nullptr) *used_default = FALSE;
  if (source == nullptr || source_length == 0 || source_length < -1) return 0;
  const std::u16string_view text =
      source_length == -1 ? std::u16string_view(source)
                          : std::u16string_view(source, static_cast<size_t>(source_length));
  if (text.size() > INT_MAX || target_length < 0) return 0;
  const bool measures = target_length == 0 || target == nullptr;
  const std::optional<EncodedLength> done =
      EncodeText(KnownCodePage(code_page), text, kLossByte, measures ? nullptr : target,
                 static_cast<std::size_t>(target_length));
  return done ? AsCount(done->bytes) : 0;
}

int MultiByteToWideChar(unsigned int code_page, unsigned long, const char* source,
                        int source_length, char16_t* target, int target_length) {
  if (source == nullptr || source_length == 0 || source_length < -1) return 0;
  const std::string_view bytes = source_length == -1
                                     ? std::string_view(source)
                                     : std::string_view(source, static_cast<size_t>(source_length));
  if (bytes.size() > INT_MAX || target_length < 0) return 0;
  const bool measures = target_length == 0 || target == nullptr;
  const CodePage page = KnownCodePage(code_page);
  if (page == kUtf8CodePage) {
    return measures ? AsCount(Utf16Length(bytes)) : DecodeUtf8Into(bytes, target, target_length);
  }
  const std::optional<std::u16string> text = DecodeText(page, bytes);
  if (!text) return 0;
  if (measures) return AsCount(text->size());
  const size_t count = std::min(text->size(), static_cast<size_t>(target_length));
  std::memcpy(target, text->data(), count * sizeof(char16_t));
  return static_cast<int>(count);
}

}  // namespace orvik
