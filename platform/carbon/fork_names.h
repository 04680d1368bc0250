// Named forks as extended attributes.
#pragma once

#include <string>
#include <vector>

namespace orvik::carbon {

// The attributes of an open file that are named forks, by name, and whether it has a catalog
// record. None where the file system has no attributes. 0 or an errno.
int ListForkAttributes(int descriptor, std::vector<std::string>* attributes, bool* has_record);

// The value of an attribute; 0 or an errno, ENODATA when there is none.
int ReadForkAttribute(int descriptor, const std::string& attribute, std::string* value);

}  // namespace orvik::carbon
