// Any command line of the tool: the arguments are those of a simple reader, and after a complete
// command line the store has the recorded values.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "host/file_names.h"
#include "platform/core_foundation/object.h"
#include "platform/foundation/application.h"
#include "postflight/install_information.h"
#include "postflight/installer_args.h"

using orvik::NSString;
using orvik::fuzz::Require;

namespace {

using Arguments = std::map<std::string, std::string>;

Arguments PlainlyRead(const std::vector<std::string>& line) {
  Arguments arguments;
  for (std::size_t i = 0; i + 1 < line.size(); ++i) {
    if (line[i].size() >= 2 && line[i].front() == '-') {
      arguments[line[i].substr(1)] = line[i + 1];
      ++i;
    }
  }
  return arguments;
}

bool Holds(const NSString* field, const std::string& bytes) {
  return field != nullptr && orvik::host::FileNameToBytes(field->ToUnits()) == bytes;
}

// Compares the fields with the arguments. Returns whether all required ones are present.
bool CheckFields(const orvik::InstallerArgs& fields, const Arguments& arguments) {
  const std::pair<const char*, const NSString*> required[] = {
      {"pathToPkg", fields.getFullPathToInstallPkg()},
      {"pathToDest", fields.getPathToInstallDest()},
      {"mountPointOfDest", fields.getDestVolMountPoint()},
      {"rootOfCurrSystemFolder", fields.getCurrSystemFolderRootDir()},
  };
  bool complete = true;
  for (const auto& [name, field] : required) {
    const auto argument = arguments.find(name);
    if (!complete) {
      Require(field == nullptr);
    } else if (argument == arguments.end()) {
      complete = false;
      Require(Holds(field, ""));
    } else {
      Require(Holds(field, argument->second));
    }
  }
  const auto logging = arguments.find("customerLogging");
  const bool is_given = complete && logging != arguments.end() && !logging->second.empty();
  Require(is_given ? Holds(fields.getCustomerLogging(), logging->second)
                   : fields.getCustomerLogging() == nullptr);
  if (!complete || arguments.count("silent") == 0) Require(fields.getRunSilent() == orvik::NO);
  return complete;
}

}  // namespace

// Each line is an argument.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvik::fuzz::ScratchFolder scratch;
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  std::string_view rest(bytes);
  std::vector<std::string> line;
  while (!rest.empty()) {
    const std::string argument(orvik::fuzz::TakePart(rest, '\n'));
    line.push_back(argument.substr(0, argument.find('\0')));
  }

  const orvik::NSAutoreleasePool pool;
  const orvik::ScopedArguments scope(line);
  orvik::InstallerArgs* const fields = new orvik::InstallerArgs;
  const bool accepted = fields->initWithProcessInfo() == orvik::YES;
  Arguments arguments = PlainlyRead(line);
  Require(accepted == CheckFields(*fields, arguments));
  if (accepted) {
    const std::string& mount = arguments["mountPointOfDest"];
    const std::string destination = (mount == "/" ? "" : mount) + arguments["pathToDest"];
    const orvik::InstallRecord record = orvik::RecordInstallInformation(*fields);
    const std::vector<orvik::InstallValue>& values = record.values;
    Require(values.size() == 6);
    Require(orvik::CheckRecorded(record));
    const std::u16string_view path = std::get<orvik::CAtlString>(values[1].value).View();
    Require(path.ends_with(u'/'));
    const NSString* joined = fields->getDestVolMountPointAndPathToInstallDest();
    Require(path == joined->ToUnits() || path == joined->ToUnits() + u'/');
    Require(path.size() == joined->ToUnits().size() || !destination.ends_with('/'));
  }
  fields->release();
  return 0;
}
