// Property lists from and to data objects, in a format that the caller chooses.
//
// A failure gives null and, if requested, an error description that the caller must release. After
// a success the description is null. The methods return autoreleased objects.
#pragma once

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

using NSPropertyListMutabilityOptions = unsigned long;
inline constexpr NSPropertyListMutabilityOptions NSPropertyListMutableContainersAndLeaves =
    kCFPropertyListMutableContainersAndLeaves;

using NSPropertyListFormat = unsigned long;
inline constexpr NSPropertyListFormat NSPropertyListOpenStepFormat = 1;
inline constexpr NSPropertyListFormat NSPropertyListXMLFormat_v1_0 = 100;
inline constexpr NSPropertyListFormat NSPropertyListBinaryFormat_v1_0 = 200;

class NSPropertyListSerialization {
 public:
  NSPropertyListSerialization() = delete;

  // propertyListFromData:mutabilityOption:format:errorDescription:. Reads any form. `format`,
  // unless null, receives the form that was found, and is unchanged on failure.
  static NSObject* propertyListFromData(const NSData* data,
                                        NSPropertyListMutabilityOptions mutability_option,
                                        NSPropertyListFormat* format,
                                        const NSString** error_description);

  // dataFromPropertyList:format:errorDescription:. Writes the XML and the binary form. Other
  // formats, including the old text form, fail.
  static const NSData* dataFromPropertyList(const NSObject* property_list,
                                            NSPropertyListFormat format,
                                            const NSString** error_description);
};

}  // namespace orvik
