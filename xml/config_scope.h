// One scope of the configuration store: its file and the document loaded from it.
#pragma once

#include <tinyxml.h>

#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <memory>

#include "files/file_path.h"
#include "host/replace_file.h"
#include "strings/atl_string_a.h"
#include "xml/config_index.h"
#include "xml/config_store.h"

namespace orvik {

class ConfigScope {
 public:
  // Null unless `scope` is 0 or 1.
  static ConfigScope* Of(int scope);

  ConfigScope(const ConfigScope&) = delete;
  ConfigScope& operator=(const ConfigScope&) = delete;

  bool has_path() const { return path_ != nullptr; }
  // See SetXMLConfig.
  bool SetPath(const COrvikFilePath& path);

  // Whether the element is the top element of its document and has the store's name and this scope.
  bool IsValidRoot(const TiXmlElement* element) const;
  // See CreateConfigFile.
  bool CreateFile(const COrvikFilePath& path) const;

  // See LoadXMLRootFromFile.
  TiXmlElement* Load(bool from_temporary);
  // The root of the file; the first call reads it.
  TiXmlElement* Root();
  // The root, or that of a new document when the file has none. Does not change the file.
  TiXmlElement* RootOrNew();
  // See SaveXMLConfigFile.
  bool Save();

  // The state of the file; reads it if that has not been tried.
  const XMLConfigFileInfo& file_info();
  XMLConfigWriteStatus write_status() const { return write_status_; }
  void set_write_status(XMLConfigWriteStatus status) { write_status_ = status; }

  const std::shared_ptr<ConfigIndex>& index() { return known().index; }
  // The index of the element's document; null for a document of no scope.
  static std::shared_ptr<ConfigIndex> IndexOf(const TiXmlElement* element);
  // Call this with an element that the store returns to its caller.
  TiXmlElement* HandOut(TiXmlElement* element);
  void SetChanged() { known().is_changed = true; }

 private:
  // The data of a document besides its content.
  struct Known {
    boost::weak_ptr<TiXmlDocument> document;
    std::shared_ptr<ConfigIndex> index = std::make_shared<ConfigIndex>();
    bool is_changed = false;       // since loading or saving
    bool is_not_the_file = false;  // the file at the path must be kept aside before it is replaced
  };

  ConfigScope(const char* name, COrvikFilePath*& path, COrvikFilePath*& temporary,
              boost::shared_ptr<TiXmlDocument>& document, TiXmlElement*& root, bool& loaded);

  Known& known();
  // Reads a file that an earlier version saved with characters that XML does not allow.
  bool LoadRepaired(const COrvikFilePath& file);
  // A configuration without keys.
  CAtlStringA NewText() const;
  bool CanKeepAside() const;
  bool Print(std::string& text) const;

  const char* const name_;  // the value of the "scope" attribute
  COrvikFilePath*& path_;
  COrvikFilePath*& temporary_;
  boost::shared_ptr<TiXmlDocument>& document_;
  TiXmlElement*& root_;
  bool& loaded_;
  Known known_;
  XMLConfigFileInfo file_info_;
  XMLConfigWriteStatus write_status_ = XMLConfigWriteStatus::kNothingWritten;
};

// The elements of a configuration scope's document.

class ConfigIndex;

// Tells the index when it is destroyed, even by the caller.
class ConfigElement final : public TiXmlElement {
 public:
  ConfigElement(const char* tag, std::weak_ptr<ConfigIndex> index);
  ~ConfigElement() override;
  ConfigElement(const ConfigElement&) = delete;
  ConfigElement& operator=(const ConfigElement&) = delete;

 private:
  std::weak_ptr<ConfigIndex> index_;
};

// Replaces every element of the document by a ConfigElement. The caller must not hold any of them.
void MakeConfigElements(TiXmlDocument& document, const std::shared_ptr<ConfigIndex>& index);

}  // namespace orvik
