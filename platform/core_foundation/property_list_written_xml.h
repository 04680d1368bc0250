// The XML form exactly as this layer writes it, read without a document: its lines tell where each
// dictionary begins and ends, and one that nobody changes is written back as it stands.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core_foundation/property_list_builder.h"
#include "platform/core_foundation/property_list_xml_document.h"

namespace orvik {

// What stands before and behind the root value.
inline constexpr std::string_view kPropertyListXmlHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
inline constexpr std::string_view kPropertyListXmlFooter = "</plist>\n";

class WrittenXml {
 public:
  // Null unless the root is a dictionary and every byte is what writing the list would give.
  static std::shared_ptr<const WrittenXml> Scan(std::string_view bytes);

  size_t size() const { return text_.size(); }
  std::string_view Slice(size_t begin, size_t end) const {
    return std::string_view(text_).substr(begin, end - begin);
  }

  // Behind the dictionary whose line begins there.
  size_t EndOf(size_t begin) const;

 private:
  struct Extent {
    size_t begin;
    size_t end;
  };

  bool ScanAll();

  std::string text_;
  // Of all dictionaries with entries, by their beginnings.
  std::vector<Extent> extents_;
};

class WrittenDictionaryContent final : public DeferredPropertyList {
 public:
  // The dictionary whose line begins there, that many containers deep.
  WrittenDictionaryContent(std::shared_ptr<const WrittenXml> xml, size_t begin, int depth,
                           CFOptionFlags mutability_option)
      : xml_(std::move(xml)), begin_(begin), depth_(depth), mutability_option_(mutability_option) {}

  void MakeEntries(NSDictionary* dictionary) const override;

  const WrittenXml& xml() const { return *xml_; }
  int depth() const override { return depth_; }
  std::shared_ptr<const DeferredPropertyList> WithMutability(
      CFOptionFlags mutability_option) const override {
    return std::make_shared<WrittenDictionaryContent>(xml_, begin_, depth_, mutability_option);
  }
  std::string_view Text() const { return xml_->Slice(begin_, xml_->EndOf(begin_)); }

 private:
  std::shared_ptr<const WrittenXml> xml_;
  size_t begin_;
  int depth_;
  CFOptionFlags mutability_option_;
};

// The root of bytes that are as this layer writes them; null for others, which may be property
// lists all the same.
OwnedObject ReadWrittenXml(std::string_view bytes, CFOptionFlags mutability_option);

}  // namespace orvik
