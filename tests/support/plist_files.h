// Property lists as another program reads and writes them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace orvik::test {

// Reads each file with Python's plistlib: JSON with sorted keys, "missing" or "damaged".
std::vector<std::string> OnDisk(const std::vector<std::filesystem::path>& files);
std::string OnDisk(const std::filesystem::path& file);

// Lets Python's plistlib write the JSON as a property list in the format "xml" or "binary".
void WritePlist(const std::filesystem::path& file, const std::string& json,
                const std::string& format = "xml");

}  // namespace orvik::test
