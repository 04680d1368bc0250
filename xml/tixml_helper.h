// Loading TinyXML documents, and attributes with a default.
//
// Loading refuses, with E_INVALIDARG, what is not well-formed XML 1.0 in UTF-8, and documents that
// TinyXML would not read as they are meant:
// - elements nested deeper than 1,000, or more than 1,000 attributes on one element;
// - declarations inside a document type, and references to entities that are not XML's five;
// - ">" inside a processing instruction or a document type;
// - a name that begins with a colon;
// - a text of byte order marks and white space alone.
// S_OK means that the document has a root element. Loading switches off, for the whole process,
// TinyXML's condensing of white space.
//
// The attribute names are taken as UTF-8. A missing attribute gives the default.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>

#include "files/file_path.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

class TiXmlDocument;
class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

// Why a document could not be loaded.
struct XMLDocumentError {
  CAtlStringA reason;  // a few English words for logs, without a full stop; empty: no error
  int line = 0;        // from 1; 0 when the error has no place in the text
  int column = 0;      // in characters, from 1
};

inline constexpr char TRUE_STRING[] = "true";
inline constexpr char FALSE_STRING[] = "false";

// Writes the attribute when value and default differ, and removes nothing when they do not.
// Strings are compared without case. Real numbers are written as "%g" gives them, with a point in
// every locale. Unsigned numbers of 2^31 and above are written as negative.
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

  // When the attribute is missing, the text is empty and `found` becomes false; it is not touched
  // otherwise.
  static CAtlString LoadStringAttributeFromXmlElement(const TiXmlElement* element,
                                                      const CAtlStringA& name, bool& found);
  static CAtlString LoadStringAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                                 const CAtlStringA& name,
                                                                 const CAtlString& default_value);
  // Leading digits count; what an int cannot hold becomes the nearest that it can.
  static int LoadIntAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                       const CAtlStringA& name, int default_value);
  // With a point in every locale.
  static float LoadFloatAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                           const CAtlStringA& name,
                                                           float default_value);
  // TRUE_STRING and FALSE_STRING in any case; everything else, "1" and "0" as well, is the default.
  static bool LoadBoolAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                         const CAtlStringA& name,
                                                         bool default_value);

  // The same as the free functions.
  template <typename Value, typename Default>
  static void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                                    const CAtlStringA& name, const Value& value,
                                                    const Default& default_value) {
    orvik::SaveAttributeToXmlElementIfNotDefault(element, name, value, default_value);
  }

  // Parses a text file into an empty document. E_INVALIDARG when the file cannot be read whole,
  // holds a NUL byte, or is refused; `error`, unless null, then receives the reason.
  static HRESULT InitializeTiXmlDocumentFromFile(const boost::shared_ptr<TiXmlDocument>& document,
                                                 const COrvikFilePath& path,
                                                 XMLDocumentError* error = nullptr);
  static HRESULT InitializeTiXmlDocumentFromText(const boost::shared_ptr<TiXmlDocument>& document,
                                                 const char* text,
                                                 XMLDocumentError* error = nullptr);
};

}  // namespace orvik
