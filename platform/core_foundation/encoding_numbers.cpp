// The numbers of encodings and of the code pages that are the same.
#include "platform/core_foundation/encoding_converter.h"

namespace orvik {

namespace {

struct Pair {
  UInt32 code_page;
  CFStringEncoding encoding;
};

constexpr Pair kPairs[] = {
    {65001, kCFStringEncodingUTF8},
    {1200, kCFStringEncodingUTF16LE},
    {1201, kCFStringEncodingUTF16BE},
    {12000, kCFStringEncodingUTF32LE},
    {12001, kCFStringEncodingUTF32BE},
    {10000, kCFStringEncodingMacRoman},
    {28591, kCFStringEncodingISOLatin1},
    {20127, kCFStringEncodingASCII},
    {437, kCFStringEncodingDOSLatinUS},
    {737, 0x0405},
    {775, 0x0406},
    {850, 0x0410},
    {851, 0x0411},
    {852, 0x0412},
    {855, 0x0413},
    {857, 0x0414},
    {860, 0x0415},
    {861, 0x0416},
    {862, 0x0417},
    {863, 0x0418},
    {864, 0x0419},
    {865, 0x041A},
    {866, 0x041B},
    {869, 0x041C},
    {874, 0x041D},
    {932, 0x0420},
    {936, 0x0421},
    {949, 0x0422},
    {950, 0x0423},
    {1252, kCFStringEncodingWindowsLatin1},
    {1250, 0x0501},
    {1251, 0x0502},
    {1253, 0x0503},
    {1254, 0x0504},
    {1255, 0x0505},
    {1256, 0x0506},
    {1257, 0x0507},
    {1258, 0x0508},
    {1361, 0x0510},
    {28592, 0x0202},
    {28593, 0x0203},
    {28594, 0x0204},
    {28595, 0x0205},
    {28596, 0x0206},
    {28597, 0x0207},
    {28598, 0x0208},
    {28599, 0x0209},
    {28603, 0x020D},
    {28605, 0x020F},
    {20866, 0x0A02},
    {21866, 0x0A08},
    {54936, 0x0632},
};

constexpr CFStringEncoding kOtherCodePages = 0x7A000000;

bool IsBuiltIn(CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingASCII:
    case kCFStringEncodingUTF8:
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
      return true;
    default:
      return false;
  }
}

}  // namespace

CFStringEncoding CFStringConvertWindowsCodepageToEncoding(UInt32 code_page) {
  for (const Pair& pair : kPairs) {
    if (pair.code_page != code_page) continue;
    return IsBuiltIn(pair.encoding) || HasCodePageConverter(code_page) ? pair.encoding
                                                                       : kCFStringEncodingInvalidId;
  }
  return HasCodePageConverter(code_page) ? kOtherCodePages + code_page : kCFStringEncodingInvalidId;
}

UInt32 CodePageOfEncoding(CFStringEncoding encoding) {
  for (const Pair& pair : kPairs) {
    if (pair.encoding == encoding) return pair.code_page;
  }
  return encoding > kOtherCodePages && encoding - kOtherCodePages <= 0xFFFF
             ? encoding - kOtherCodePages
             : 0;
}

CFStringEncoding CFStringGetSystemEncoding() {
  return kCFStringEncodingMacRoman;
}

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding) {
  return IsBuiltIn(encoding) || HasConverter(encoding);
}

}  // namespace orvik
