#include "platform/foundation/application.h"

#include <sys/stat.h>
#include <syslog.h>

#include <cstdarg>

#include "host/paths.h"
#include "host/proc.h"
#include "host/system.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/object_support.h"
#include "platform/core_foundation/string.h"
#include "text/case_and_spelling.h"

namespace orvik {

namespace {

NSApplication* loaded = nullptr;

// The result of standardUserDefaults; null until its first call.
NSUserDefaults* standard = nullptr;

bool EqualsIgnoringCase(const NSString* text, const char16_t* other) {
  return CompareFolded(WideView(text), other) == 0;
}

}  // namespace

ObjCBool NSApplicationLoad() {
  // Never destroyed, so that it can be used until the process ends.
  static auto* const application = new NSApplication;
  loaded = application;
  return YES;
}

NSApplication* NSApp() {
  return loaded;
}

NSUserDefaults::NSUserDefaults(const std::vector<std::string>& arguments)
    : arguments_(NSDictionary::Create()) {
  for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    if (name.size() < 2 || name[0] != '-') continue;
    const Owned<const NSString> key(NewStringFromPath(std::string_view(name).substr(1)));
    const Owned<const NSString> value(NewStringFromPath(arguments[++i]));
    arguments_->setObject(value.get(), key.get());
  }
}

NSUserDefaults::~NSUserDefaults() {
  arguments_->release();
}

NSUserDefaults* NSUserDefaults::CreateWithArguments(const std::vector<std::string>& arguments) {
  return new NSUserDefaults(arguments);
}

NSUserDefaults* NSUserDefaults::standardUserDefaults() {
  if (standard == nullptr) standard = CreateWithArguments(host::ProgramArguments());
  return standard;
}

const NSString* NSUserDefaults::stringForKey(const NSString* name) const {
  return static_cast<const NSString*>(arguments_->objectForKey(name));
}

ObjCBool NSUserDefaults::boolForKey(const NSString* name) const {
  const NSString* text = stringForKey(name);
  if (text == nullptr) return NO;
  const bool is_true = EqualsIgnoringCase(text, u"YES") || EqualsIgnoringCase(text, u"true") ||
                       text->intValue() != 0;
  return is_true ? YES : NO;
}

ScopedArguments::ScopedArguments(const std::vector<std::string>& arguments)
    : own_(NSUserDefaults::CreateWithArguments(arguments)), outer_(standard) {
  standard = own_;
}

ScopedArguments::~ScopedArguments() {
  standard = outer_;
  own_->release();
}

void NSLog(const NSString* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const CFStringRef text =
      CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, format, arguments);
  va_end(arguments);
  // If the format cannot be carried out, logs the format itself.
  host::SystemLog(LOG_WARNING, (text != nullptr ? text : format)->ToUtf8());
  CFRelease(text);
}

NSFileManager* NSFileManager::defaultManager() {
  static auto* const manager = new NSFileManager;
  return manager;
}

ObjCBool NSFileManager::fileExistsAtPath(const NSString* path, ObjCBool* is_directory) const {
  const std::optional<std::string> file = FilePath(path);
  if (!file) return NO;
  struct stat attributes;
  if (host::StatPath(*file, 0, &attributes) != 0) return NO;
  if (is_directory != nullptr) *is_directory = S_ISDIR(attributes.st_mode) ? YES : NO;
  return YES;
}

const NSString* NSTemporaryDirectory() {
  return Autoreleased(NewStringFromPath(host::TemporaryFolder() + '/'));
}

const NSString* NSHomeDirectory() {
  return Autoreleased(NewStringFromPath(host::HomeFolder()));
}

}  // namespace orvik
