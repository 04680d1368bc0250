// The configuration store: settings in an XML file of the application's choice.
#include <cstdio>

#include <orvik/files/directory_path.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/xml/config_store.h>

using namespace orvik;

int main() {
  constexpr int kUser = 1;
  const COrvikFilePath file = COrvikFilePath::CreateTempFileName(u".xml", u"config-example");
  SetXMLConfig(kUser, file);
  if (!WriteXMLConfigInt(kUser, u"Window/Main", u"width", 640)) return 1;
  if (!SaveXMLConfigFile(kUser)) return 1;  // nothing is on disk before

  int width = 0;
  if (!GetXMLConfigInt(kUser, u"window\\MAIN", u"Width", width)) return 1;
  std::printf("width %d\n", width);
  return CFileManipulator::DeleteFile(file) && width == 640 ? 0 : 1;
}
