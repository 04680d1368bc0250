// What the configuration store keeps for each of its two scopes. Set and used without locks.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include "files/file_path.h"
#include "host/descriptor.h"

class TiXmlDocument;
class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

// Scope 0. The paths are owned; null as long as they are not set.
extern COrvikFilePath* g_pathGlobalXMLConfig;
extern COrvikFilePath* g_pathTempGlobalXMLConfig;
extern boost::shared_ptr<TiXmlDocument> g_pGlobalXMLConfigDoc;
extern TiXmlElement* g_pGlobalXMLConfigRootElement;  // null: no valid root
extern bool g_bGlobalXMLConfigFileLoaded;            // whether loading was tried

// Scope 1.
extern COrvikFilePath* g_pathLocalXMLConfig;
extern COrvikFilePath* g_pathTempLocalXMLConfig;
extern boost::shared_ptr<TiXmlDocument> g_pLocalXMLConfigDoc;
extern TiXmlElement* g_pLocalXMLConfigRootElement;
extern bool g_bLocalXMLConfigFileLoaded;

struct ConfigScope {
  const char* name;  // of the "scope" attribute
  COrvikFilePath*& path;
  COrvikFilePath*& temporary;
  boost::shared_ptr<TiXmlDocument>& document;
  TiXmlElement*& root;
  bool& loaded;
  bool changed;  // since loading or saving
  host::Descriptor temporary_lock = {};
};

// Null for any number but 0 and 1.
ConfigScope* ConfigScopeOf(int scope);

// "ORVIK Technologies", the name of every root.
extern const char kConfigRootName[];

}  // namespace orvik
