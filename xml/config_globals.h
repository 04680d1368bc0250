// What the configuration store keeps for each of its two scopes. Set and used without locks; the
// store owns all of it.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include "files/file_path.h"

class TiXmlDocument;
class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

// Scope 0. The paths are null as long as they are not set. The store makes no temporary file; the
// path of one is read by LoadXMLRootFromFile only.
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

}  // namespace orvik
