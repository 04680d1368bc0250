// Loading TinyXML documents, and attributes with a default.
//
// Loading refuses, with E_INVALIDARG, text that is not well-formed XML 1.0 in UTF-8, and documents
// that TinyXML would not read as XML means them:
// - elements nested deeper than 1,000, or more than 1,000 attributes on one element;
// - declarations inside a document type, and references to entities that are not XML's five;
// - ">" inside a processing instruction or a document type;
// - a name that begins with a colon;
// - a text that is only byte order marks and white space.
// S_OK means that the document has a root element. Loading turns off TinyXML's condensing of white
// space for the whole process.
//
// Attribute names are UTF-8. A missing attribute gives the default.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include "files/file_path.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

class TiXmlDocument;
class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

// The reason why a document could not be loaded.
struct XMLDocumentError {
  CAtlStringA reason;  // a few English words for logs, without a full stop; empty: no error
  int line = 0;        // from 1; 0 for an error without a place in the text
  int column = 0;      // in characters, from 1
};

inline constexpr char TRUE_STRING[] = "true";
inline constexpr char FALSE_STRING[] = "false";

// Writes the attribute if value and default differ; otherwise does nothing, even if the attribute
// exists. Strings are compared without case. Real numbers are written with "%g" and a "." in every
// locale. Unsigned numbers of 2^31 and above are written as negative ones.
void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, bool value, bool default_value);
void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, const CAtlString& value,
                                           const CAtlString& default_value);
void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, double value,
                                           double default_value);
void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, unsigned int value,
                                           unsigned int default_value);

class TiXmlHelper {
 public:
  TiXmlHelper() = delete;

  // If the attribute is missing, the result is empty and `found` becomes false; otherwise `found`
  // does not change.
  static CAtlString LoadStringAttributeFromXmlElement(const TiXmlElement* element,
                                                      const CAtlStringA& name, bool& found);
  static CAtlString LoadStringAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                                 const CAtlStringA& name,
                                                                 const CAtlString& default_value);
  // Reads leading digits; a number outside the range of int becomes the nearest int.
  static int LoadIntAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                       const CAtlStringA& name, int default_value);
  // The decimal point is "." in every locale.
  static float LoadFloatAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                           const CAtlStringA& name,
                                                           float default_value);
  // TRUE_STRING and FALSE_STRING in any case; all other texts, even "1" and "0", give the default.
  static bool LoadBoolAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                         const CAtlStringA& name,
                                                         bool default_value);

  // The same as the functions outside the class.
  template <typename Value, typename Default>
  static void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                                    const CAtlStringA& name, const Value& value,
                                                    const Default& default_value) {
    orvik::SaveAttributeToXmlElementIfNotDefault(element, name, value, default_value);
  }

  // Parses a text file into an empty document. E_INVALIDARG when the file cannot be read
  // completely, contains a NUL byte, or is refused; `error`, unless null, then receives the reason.
  static HRESULT InitializeTiXmlDocumentFromFile(const boost::shared_ptr<TiXmlDocument>& document,
                                                 const COrvikFilePath& path,
                                                 XMLDocumentError* error = nullptr);
  static HRESULT InitializeTiXmlDocumentFromText(const boost::shared_ptr<TiXmlDocument>& document,
                                                 const char* text,
                                                 XMLDocumentError* error = nullptr);
};

}  // namespace orvik
