#include "postflight/property_file.h"

#include "platform/foundation/file_manager.h"
#include "platform/foundation/ns_data.h"
#include "platform/foundation/property_list_serialization.h"
#include "postflight/log_line.h"
#include "postflight/log_sys.h"

namespace orvik {

propertyFile::~propertyFile() {
  CFRelease(m_pfilePath);
  CFRelease(m_Plist);
}

ObjCBool propertyFile::initWithFilePath(const NSString* path) {
  Notice({u"entering [propertyFile initWithFilePath: ", path, u"]"});
  setpFilePath(path);
  if (!fileExists()) {
    StorePlist(nullptr);
    m_pFormat = 0;
    Notice({u"leaving [propertyFile initWithFilePath]"});
    return YES;
  }
  const NSData* data = NSData::dataWithContentsOfFile(path);
  if (data == nullptr) {
    Notice({u"[NSData dataWithContentsOfFile: ", path, u"] could not create data object"});
    return NO;
  }
  NSPropertyListFormat format = 0;
  const NSString* error = nullptr;
  const NSObject* plist = NSPropertyListSerialization::propertyListFromData(
      data, NSPropertyListMutableContainersAndLeaves, &format, &error);
  if (plist == nullptr) {
    Notice({u"[NSPropertyListSerialization propertyListFromData...] failed with error: ", error});
    CFRelease(error);
    return NO;
  }
  setPlist(plist);
  setpFormat(static_cast<unsigned>(format));
  Notice({u"leaving [propertyFile initWithFilePath]"});
  return YES;
}

ObjCBool propertyFile::fileExists() const {
  Notice({u"entering [propertyFile fileExists] with [self pfilePath] set to ", m_pfilePath});
  const bool exists = NSFileManager::defaultManager()->fileExistsAtPath(m_pfilePath) == YES;
  Notice({exists ? u"file exists" : u"file does not exist"});
  return exists ? YES : NO;
}

ObjCBool propertyFile::write(unsigned format) const {
  Notice({u"entering [propertyFile write: pFormat]"});
  const NSString* error = nullptr;
  const NSData* data = NSPropertyListSerialization::dataFromPropertyList(m_Plist, format, &error);
  if (data == nullptr) {
    Notice({u"[propertyFile write: pFormat] - dataFromPropertyList... failed with error: ", error});
    CFRelease(error);
    Notice({u"leaving [propertyFile write: pFormat]"});
    return NO;
  }
  Notice({u"[propertyFile write: pFormat] - dataFromPropertyList... successful"});
  if (data->writeToFile(m_pfilePath, YES) != YES) {
    Notice(
        {u"[propertyFile write: pFormat] - writeToFile... failed, with pfilePath: ", m_pfilePath});
    return NO;
  }
  Notice({u"[propertyFile write: pFormat] - writeToFile... successful, with pfilePath: ",
          m_pfilePath});
  return YES;
}

ObjCBool propertyFile::write() const {
  Notice({u"entering [propertyFile write]"});
  return write(m_pFormat);
}

NSObject* propertyFile::Plist() const {
  Notice({u"entering [propertyFile Plist]"});
  return m_Plist;
}

void propertyFile::setPlist(const NSObject* plist) {
  Notice({u"entering [propertyFile setPlist]"});
  StorePlist(plist);
}

void propertyFile::StorePlist(const NSObject* plist) {
  NSObject* copy = plist == nullptr ? nullptr : plist->mutableCopy();
  if (copy == nullptr && plist != nullptr) {
    copy = plist->copy();  // numbers and dates have no modifiable form
  }
  if (m_Plist != nullptr) {
    m_Plist->autorelease();
  }
  m_Plist = copy;
}

const NSString* propertyFile::pfilePath() const {
  Notice({u"entering [propertyFile pfilePath]"});
  return m_pfilePath;
}

void propertyFile::setpFilePath(const NSString* path) {
  Notice({u"entering [propertyFile setpFilePath]"});
  StoreCopy(m_pfilePath, path);
}

unsigned propertyFile::pFormat() const {
  Notice({u"entering [propertyFile pFormat]"});
  return m_pFormat;
}

void propertyFile::setpFormat(unsigned format) {
  m_pFormat = format;
}

}  // namespace orvik
