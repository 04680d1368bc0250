// Loads ICU when it is first called. A program that links this file starts without ICU's libraries,
// whose loading takes longer than most commands.
//
// Each function of the list is defined here under its own name as a jump through a pointer. The
// pointer first leads to code that keeps the arguments, looks the function up with dlsym, and puts
// it into the pointer. No function takes more than two floating-point numbers. A function that is
// missing from the list makes the linker take ICU itself, and all is as without this file.
//
// For x86-64 and the ELF conventions of its systems alone.
#include <dlfcn.h>
#include <unicode/ubidi.h>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucol.h>
#include <unicode/udat.h>
#include <unicode/unorm2.h>
#include <unicode/uset.h>
#include <unicode/ustring.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr char kCommon[] = "libicuuc.so." U_ICU_VERSION_SHORT;
constexpr char kInternational[] = "libicui18n.so." U_ICU_VERSION_SHORT;

struct OnDemand {
  void* target;  // first, where the assembly jumps through it
  const char* library;
  const char* name;
};

[[noreturn]] void Fail(const char* name) {
  for (const char* const part : {name, " cannot be loaded\n"}) {
    if (write(STDERR_FILENO, part, std::strlen(part)) < 0) break;
  }
  _exit(127);
}

}  // namespace

// Called by the assembly below. Threads may come here at once: all of them find the same.
extern "C" [[gnu::used]] void* orvik_find_icu_function(OnDemand* function) {
  void* const library = dlopen(function->library, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) Fail(function->library);
  void* const target = dlsym(library, function->name);
  if (target == nullptr) Fail(function->name);
  __atomic_store_n(&function->target, target, __ATOMIC_RELEASE);
  return target;
}

// On entry %r11 is the address of the OnDemand; the stack is off by the caller's return address.
asm(R"(
.text
.type orvik_call_icu_function, @function
orvik_call_icu_function:
  endbr64
  push %rdi
  push %rsi
  push %rdx
  push %rcx
  push %r8
  push %r9
  push %rax
  sub $32, %rsp
  movups %xmm0, (%rsp)
  movups %xmm1, 16(%rsp)
  mov %r11, %rdi
  call orvik_find_icu_function
  mov %rax, %r11
  movups (%rsp), %xmm0
  movups 16(%rsp), %xmm1
  add $32, %rsp
  pop %rax
  pop %r9
  pop %r8
  pop %rcx
  pop %rdx
  pop %rsi
  pop %rdi
  jmp *%r11
.size orvik_call_icu_function, .-orvik_call_icu_function
)");

#define ORVIK_TEXT_OF_EXPANDED(name) #name
#define ORVIK_TEXT_OF(name) ORVIK_TEXT_OF_EXPANDED(name)
#define ORVIK_JOINED_EXPANDED(one, other) one##other
#define ORVIK_JOINED(one, other) ORVIK_JOINED_EXPANDED(one, other)

// ICU's headers give each function the suffix of their version.
#define ORVIK_ON_DEMAND(library, function)                                    \
  extern "C" {                                                                \
  void ORVIK_JOINED(orvik_load_, function)();                                 \
  OnDemand ORVIK_JOINED(orvik_icu_, function) = {                             \
      reinterpret_cast<void*>(&ORVIK_JOINED(orvik_load_, function)), library, \
      ORVIK_TEXT_OF(function)};                                               \
  }                                                                           \
  asm(".text\n.globl " ORVIK_TEXT_OF(function) "\n.type " ORVIK_TEXT_OF(function)     \
      ", @function\n" ORVIK_TEXT_OF(function) ":\n  endbr64\n  jmp *orvik_icu_"       \
      ORVIK_TEXT_OF(function) "(%rip)\n.size " ORVIK_TEXT_OF(function)                \
      ", .-" ORVIK_TEXT_OF(function) "\norvik_load_" ORVIK_TEXT_OF(function)          \
      ":\n  endbr64\n  lea orvik_icu_" ORVIK_TEXT_OF(function)                        \
      "(%rip), %r11\n  jmp orvik_call_icu_function\n");

ORVIK_ON_DEMAND(kCommon, UCNV_FROM_U_CALLBACK_STOP)
ORVIK_ON_DEMAND(kCommon, UCNV_TO_U_CALLBACK_STOP)
ORVIK_ON_DEMAND(kCommon, UCNV_TO_U_CALLBACK_SUBSTITUTE)
ORVIK_ON_DEMAND(kCommon, u_charDirection)
ORVIK_ON_DEMAND(kCommon, u_charType)
ORVIK_ON_DEMAND(kCommon, u_getCombiningClass)
ORVIK_ON_DEMAND(kCommon, u_getIntPropertyValue)
ORVIK_ON_DEMAND(kCommon, u_strFoldCase)
ORVIK_ON_DEMAND(kCommon, u_strToLower)
ORVIK_ON_DEMAND(kCommon, u_strToUpper)
ORVIK_ON_DEMAND(kCommon, ucnv_cbFromUWriteUChars)
ORVIK_ON_DEMAND(kCommon, ucnv_close)
ORVIK_ON_DEMAND(kCommon, ucnv_convertEx)
ORVIK_ON_DEMAND(kCommon, ucnv_fromUnicode)
ORVIK_ON_DEMAND(kCommon, ucnv_getMaxCharSize)
ORVIK_ON_DEMAND(kCommon, ucnv_getNextUChar)
ORVIK_ON_DEMAND(kCommon, ucnv_open)
ORVIK_ON_DEMAND(kCommon, ucnv_resetFromUnicode)
ORVIK_ON_DEMAND(kCommon, ucnv_resetToUnicode)
ORVIK_ON_DEMAND(kCommon, ucnv_setFromUCallBack)
ORVIK_ON_DEMAND(kCommon, ucnv_setToUCallBack)
ORVIK_ON_DEMAND(kCommon, ucnv_toUnicode)
ORVIK_ON_DEMAND(kCommon, unorm2_composePair)
ORVIK_ON_DEMAND(kCommon, unorm2_getNFCInstance)
ORVIK_ON_DEMAND(kCommon, unorm2_getNFDInstance)
ORVIK_ON_DEMAND(kCommon, unorm2_getNFKCInstance)
ORVIK_ON_DEMAND(kCommon, unorm2_getNFKDInstance)
ORVIK_ON_DEMAND(kCommon, unorm2_getRawDecomposition)
ORVIK_ON_DEMAND(kCommon, unorm2_hasBoundaryBefore)
ORVIK_ON_DEMAND(kCommon, unorm2_normalize)
ORVIK_ON_DEMAND(kCommon, uset_add)
ORVIK_ON_DEMAND(kCommon, uset_charAt)
ORVIK_ON_DEMAND(kCommon, uset_close)
ORVIK_ON_DEMAND(kCommon, uset_freeze)
ORVIK_ON_DEMAND(kCommon, uset_getItem)
ORVIK_ON_DEMAND(kCommon, uset_getItemCount)
ORVIK_ON_DEMAND(kCommon, uset_openEmpty)
ORVIK_ON_DEMAND(kCommon, uset_openPattern)
ORVIK_ON_DEMAND(kCommon, uset_size)
ORVIK_ON_DEMAND(kCommon, uset_span)
ORVIK_ON_DEMAND(kInternational, ucol_clone)
ORVIK_ON_DEMAND(kInternational, ucol_close)
ORVIK_ON_DEMAND(kInternational, ucol_getAttribute)
ORVIK_ON_DEMAND(kInternational, ucol_getContractionsAndExpansions)
ORVIK_ON_DEMAND(kInternational, ucol_open)
ORVIK_ON_DEMAND(kInternational, ucol_setAttribute)
ORVIK_ON_DEMAND(kInternational, ucol_setStrength)
ORVIK_ON_DEMAND(kInternational, ucol_strcoll)
ORVIK_ON_DEMAND(kInternational, udat_applyPattern)
ORVIK_ON_DEMAND(kInternational, udat_close)
ORVIK_ON_DEMAND(kInternational, udat_format)
ORVIK_ON_DEMAND(kInternational, udat_open)
