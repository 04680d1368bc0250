// The arguments that are accepted as a platform object, by functions and by "%@" in a format.
//
// CFTypeRef and CFPropertyListRef are `const void*`, to which every pointer converts: the address
// of a text, of a std::string or of a number would be taken for an object. The public functions
// that take such a reference refuse these arguments at compile time.
#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

class NSArray;
class NSBundle;
class NSData;
class NSDate;
class NSDateFormatter;
class NSDictionary;
class NSLocale;
class NSNumber;
class NSObject;
class NSURL;

template <class Type, class... Types>
inline constexpr bool kIsOneOf = (std::same_as<Type, Types> || ...);

// An object of the platform. A class of the list may be incomplete; another class that derives from
// NSObject must be complete.
template <class Type>
concept PlatformObject =
    kIsOneOf<std::remove_cv_t<Type>, NSObject, NSString, NSNumber, NSDate, NSData, NSArray,
             NSDictionary, NSURL, NSBundle, NSLocale, NSDateFormatter> || requires {
  sizeof(Type);
  requires std::is_base_of_v<NSObject, Type>;
};

// A class that holds a reference specialises this.
template <class Type>
inline constexpr bool kIsPlatformReference = std::same_as<Type, std::nullptr_t>;
template <class Pointee>
inline constexpr bool kIsPlatformReference<Pointee*> =
    std::is_void_v<Pointee> || PlatformObject<Pointee>;

// A CFTypeRef or another platform reference, a holder of a reference, or nullptr.
template <class Type>
concept PlatformReference = kIsPlatformReference<std::remove_cvref_t<Type>>;

// The types that convert to `Ref` without being a platform object. None, unless `Ref` is an untyped
// pointer.
template <class Type, class Ref>
concept NoReferenceFor = std::is_void_v<std::remove_pointer_t<Ref>> && !PlatformReference<Type>;

}  // namespace orvik
