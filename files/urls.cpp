#include "files/urls.h"

#include <algorithm>

namespace orvik {
namespace {

using namespace std::string_view_literals;

struct Scheme {
  tagURLPROTOCOLS number;
  std::u16string_view detected;
  const char16_t* written;
};
// In the order of detection.
constexpr Scheme kSchemes[] = {
    {URL_HTTP, u"http://"sv, u"http://"},
    {URL_HTTPS, u"https://"sv, u"https://"},
    {URL_FTP, u"ftp://"sv, u"ftp://"},
    {URL_FILE, u"file://"sv, u"file://"},
    {URL_MAILTO, u"mailto:"sv, u"mailto://"},
    {URL_GOPHER, u"gopher://"sv, u"gopher://"},
    {URL_NNTP, u"nntp://"sv, u"nntp://"},
    {URL_TELNET, u"telnet://"sv, u"telnet://"},
    {URL_NEWS, u"news:"sv, u"news:"},
    {URL_WAIS, u"wais://"sv, u"wais://"},
    {URL_PROSPERO, u"prospero://"sv, u"prospero://"},
};

// Schemes are ASCII, so their case does not depend on the locale.
bool EqualsNoCase(std::u16string_view text, std::u16string_view lower) {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                    [](char16_t a, char16_t b) {
                      return a == b || (a >= u'A' && a <= u'Z' && a + (u'a' - u'A') == b);
                    });
}

bool IsBareScheme(const CAtlString& url, tagURLPROTOCOLS protocol) {
  return EqualsNoCase(url.View(), GetAppropriateProtocol(protocol).View());
}

bool Contains(const CAtlString& url, std::u16string_view text) {
  return url.View().find(text) != std::u16string_view::npos;
}

}  // namespace

tagURLPROTOCOLS GetUrlProtocol(const CAtlString& url) {
  for (const Scheme& scheme : kSchemes) {
    if (EqualsNoCase(url.View().substr(0, scheme.detected.size()), scheme.detected)) {
      return scheme.number;
    }
  }
  return URL_UNKNOWN;
}

CAtlString GetAppropriateProtocol(int protocol) {
  for (const Scheme& scheme : kSchemes) {
    if (scheme.number == protocol) return scheme.written;
  }
  return u"http://";
}

BOOL MakeValidHyperlink(CAtlString& url) {
  if (url.IsEmpty()) return FALSE;
  url.Trim();
  url.Replace(u'\\', u'/');
  const tagURLPROTOCOLS protocol = GetUrlProtocol(url);
  if (IsBareScheme(url, protocol)) return FALSE;
  if (protocol != URL_UNKNOWN) return TRUE;
  if (!Contains(url, u"/"sv) && !Contains(url, u"www."sv) && !Contains(url, u"WWW."sv)) {
    return FALSE;
  }
  if (Contains(url, u"://"sv)) return FALSE;
  url = GetAppropriateProtocol(URL_HTTP) + url;
  return TRUE;
}

BOOL IsValidURL(const CAtlString& url) {
  const tagURLPROTOCOLS protocol = GetUrlProtocol(url);
  return protocol != URL_UNKNOWN && !IsBareScheme(url, protocol) && !url.IsEmpty();
}

}  // namespace orvik
