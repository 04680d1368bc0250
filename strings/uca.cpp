#include "strings/uca.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/carbon/collation.h"
#include "platform/core_foundation/string.h"
#include "strings/case_in_place.h"
#include "strings/text_view.h"
#include "strings/unit_search.h"

namespace orvik {

namespace {

constexpr UCCollateOptions kWithCase = kUCCollateStandardOptions;
constexpr UCCollateOptions kWithoutCase = kWithCase | kUCCollateCaseInsensitiveMask;

int Order(std::u16string_view a, std::u16string_view b, UCCollateOptions options) {
  SInt32 order = 0;
  Boolean equivalent = false;
  const OSStatus status =
      UCCompareTextDefault(options, a.data(), a.size(), b.data(), b.size(), &equivalent, &order);
  return status != 0 || equivalent != 0 ? 0 : order;
}

int OrderOfUnits(const char16_t* a, const char16_t* b, int n, UCCollateOptions options) {
  if (n < 1 || a == nullptr || b == nullptr) return 0;
  const auto count = static_cast<std::size_t>(n);
  return Order({a, count}, {b, count}, options);
}

char16_t* Find(char16_t* text, const char16_t* sub) {
  if (text == nullptr) return nullptr;
  const std::size_t at = FindUnits(ViewOf(text), ViewOf(sub));
  return at == kNotFound ? nullptr : text + at;
}

// A platform string over the array, as far as one goes, for the life of this object.
class Wrapped {
 public:
  explicit Wrapped(const char16_t* text)
      : string_(NSString::NewNoCopy(ViewOf(text).substr(0, kMaximumStringLength), false)) {}
  ~Wrapped() { CFRelease(string_); }
  Wrapped(const Wrapped&) = delete;
  Wrapped& operator=(const Wrapped&) = delete;

  const NSString* get() const { return string_; }

 private:
  const NSString* string_;
};

}  // namespace

int ucalen(const char16_t* text) {
  return static_cast<int>(std::min<std::size_t>(ViewOf(text).size(), INT_MAX));
}

char16_t* ucacpy(char16_t* target, const char16_t* source) {
  const std::u16string_view text = ViewOf(source);
  target[text.copy(target, text.size())] = 0;
  return target;
}

char16_t* ucancpy(char16_t* target, const char16_t* source, int n) {
  int i = 0;
  for (; i < n && source != nullptr && source[i] != 0; ++i) target[i] = source[i];
  for (; i < n; ++i) target[i] = 0;
  return target;
}

char16_t* ucacat(char16_t* target, const char16_t* source) {
  ucacpy(target + ViewOf(target).size(), source);
  return target;
}

char16_t* ucancat(char16_t* target, const char16_t* source, int n) {
  char16_t* end = target + ViewOf(target).size();
  for (int i = 0; i < n && source != nullptr && source[i] != 0; ++i) *end++ = source[i];
  *end = 0;
  return target;
}

char16_t* ucareverse(char16_t* text) {
  if (text != nullptr) std::reverse(text, text + ViewOf(text).size());
  return text;
}

char16_t* ucaupr(char16_t* text) {
  MapCaseInPlace(text, ViewOf(text).size(), CFStringUppercase);
  return text;
}
char16_t* ucalwr(char16_t* text) {
  MapCaseInPlace(text, ViewOf(text).size(), CFStringLowercase);
  return text;
}

char16_t* ucastr(char16_t* text, const char16_t* sub) {
  return Find(text, sub);
}
const char16_t* ucastr(const char16_t* text, const char16_t* sub) {
  return Find(const_cast<char16_t*>(text), sub);
}

int ucatoi(const char16_t* text) {
  return CFStringGetIntValue(Wrapped(text).get());
}
double ucatof(const char16_t* text) {
  return CFStringGetDoubleValue(Wrapped(text).get());
}

int ucacmp(const char16_t* a, const char16_t* b) {
  return Order(ViewOf(a), ViewOf(b), kWithCase);
}
int ucacoll(const char16_t* a, const char16_t* b) {
  return ucacmp(a, b);
}
int ucaicmp(const char16_t* a, const char16_t* b) {
  return Order(ViewOf(a), ViewOf(b), kWithoutCase);
}
int ucaicoll(const char16_t* a, const char16_t* b) {
  return ucaicmp(a, b);
}
int ucancmp(const char16_t* a, const char16_t* b, int n) {
  return OrderOfUnits(a, b, n, kWithCase);
}
int ucancoll(const char16_t* a, const char16_t* b, int n) {
  return ucancmp(a, b, n);
}
int ucanicmp(const char16_t* a, const char16_t* b, int n) {
  return OrderOfUnits(a, b, n, kWithoutCase);
}
int ucanicoll(const char16_t* a, const char16_t* b, int n) {
  return ucanicmp(a, b, n);
}

char16_t* itouca(int value, char16_t* buffer, int radix) {
  const char* format = radix == 10 ? "%d" : radix == 16 ? "%x" : radix == 8 ? "%o" : nullptr;
  if (format == nullptr) return nullptr;
  char digits[16];
  const int length = std::snprintf(digits, sizeof digits, format, value);
  WidenLatin1(digits, buffer, static_cast<std::size_t>(length) + 1);
  return buffer;
}

void CAtoUCA(const char* source, char16_t* target, int n) {
  if (source == nullptr || n < 1) return;
  WidenLatin1(source, target, strnlen(source, static_cast<std::size_t>(n)));
}

void UCAtoCA(const char16_t* source, char* target, int n) {
  if (source == nullptr || n < 1) return;
  NarrowLatin1(source, target, static_cast<std::size_t>(n));
  target[n] = 0;
}

}  // namespace orvik
