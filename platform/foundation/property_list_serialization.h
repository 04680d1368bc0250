// Property lists from and to data objects, in a format of the caller's choice.
//
// Failures give null together with an error description (when one is asked for) that the caller
// must release; on success the description is null. What the methods return is autoreleased.
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

  // propertyListFromData:mutabilityOption:format:errorDescription:. Reads any form; format, unless
  // null, receives the one that was found and stays as it is on failure.
  static NSObject* propertyListFromData(const NSData* data,
                                        NSPropertyListMutabilityOptions mutability_option,
                                        NSPropertyListFormat* format,
                                        const NSString** error_description);

  // dataFromPropertyList:format:errorDescription:. Writes the XML and the binary form; the old text
  // form can only be read, and no other format is known.
  static const NSData* dataFromPropertyList(const NSObject* property_list,
                                            NSPropertyListFormat format,
                                            const NSString** error_description);
};

}  // namespace orvik
