#include "text/spelling.h"

#include <unicode/caniter.h>
#include <unicode/normalizer2.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

#include "text/transcoding.h"

namespace orvik {

namespace {

icu::UnicodeString View(std::u16string_view units) {
  return {false, units.data(), static_cast<std::int32_t>(units.size())};
}

const icu::Normalizer2* Composing() {
  UErrorCode status = U_ZERO_ERROR;
  return icu::Normalizer2::getNFCInstance(status);
}

// The characters without which a text has one spelling: those that can be taken apart, those that
// combine with what is before them or change places with other marks, and those that stand for
// another character alone (the ideographs of which a compatibility form exists).
icu::UnicodeSet CharactersOfManySpellings() {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet apart(UNICODE_STRING_SIMPLE("[:NFD_QC=No:]"), status);
  icu::UnicodeSet set(UNICODE_STRING_SIMPLE("[[:NFD_QC=No:][:NFC_QC=Maybe:][:^ccc=0:]]"), status);
  const icu::Normalizer2* const form = Composing();
  icu::UnicodeString parts;
  for (std::int32_t range = 0; range < apart.getRangeCount(); ++range) {
    for (UChar32 c = apart.getRangeStart(range); c <= apart.getRangeEnd(range); ++c) {
      if (!form->getRawDecomposition(c, parts) || parts.countChar32() != 1) continue;
      if (parts.char32At(0) >= 0x80) set.add(parts.char32At(0));
    }
  }
  set.freeze();
  return set;
}

}  // namespace

bool HasOneSpelling(std::u16string_view units) {
  units.remove_prefix(AsciiPrefix(units));
  if (units.empty()) return true;
  static const icu::UnicodeSet many = CharactersOfManySpellings();
  const auto length = static_cast<std::int32_t>(units.size());
  return many.span(units.data(), length, USET_SPAN_NOT_CONTAINED) == length;
}

bool VisitOtherSpellings(std::u16string_view units, int limit,
                         const std::function<void(std::u16string_view)>& visit) {
  UErrorCode status = U_ZERO_ERROR;
  icu::CanonicalIterator spellings(View(units), status);
  if (U_FAILURE(status)) return false;
  for (int seen = 0;;) {
    const icu::UnicodeString next = spellings.next();
    if (next.isBogus()) return true;
    const std::u16string_view spelling(next.getBuffer(), static_cast<std::size_t>(next.length()));
    if (spelling == units) continue;
    if (++seen > limit) return false;
    visit(spelling);
  }
}

}  // namespace orvik
