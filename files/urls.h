// The schemes of link texts.
//
// The functions look only at the beginning of a text and do not check the rest. They cannot fail.
//
//   text               GetUrlProtocol  MakeValidHyperlink          IsValidURL
//   HTTPS://h/         10              unchanged, TRUE             TRUE
//   " www.h\i.html "   9               http://www.h/i.html, TRUE   FALSE
//   ftp://             3               FALSE                       FALSE
//   svn://h/x          9               FALSE                       FALSE
//   abc.def            9               FALSE                       FALSE
#pragma once

#include "strings/atl_string.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

enum tagURLPROTOCOLS : int {
  URL_HTTP = 0,
  URL_FILE = 1,
  URL_MAILTO = 2,
  URL_FTP = 3,
  URL_GOPHER = 4,
  URL_NNTP = 5,
  URL_TELNET = 6,
  URL_NEWS = 7,
  URL_WAIS = 8,
  URL_UNKNOWN = 9,
  URL_HTTPS = 10,
  URL_PROSPERO = 11,
};

// The scheme at the beginning of the text, in any case.
tagURLPROTOCOLS GetUrlProtocol(const CAtlString& url);

// The beginning of a link of that scheme: "mailto://" for mail, "http://" for an unknown scheme.
CAtlString GetAppropriateProtocol(int protocol);

// Trims white space, turns "\" into "/" and puts "http://" before a host name or path without a
// scheme. TRUE when the result is a usable link.
BOOL MakeValidHyperlink(CAtlString& url);

// TRUE when the text begins with a known scheme and more text follows. Nothing is repaired.
BOOL IsValidURL(const CAtlString& url);

}  // namespace orvik
