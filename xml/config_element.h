// The elements of a configuration scope's document.
#pragma once

#include <memory>

#include <tinyxml.h>

namespace orvik {

class ConfigIndex;

// Tells the index when it is destroyed, by whomever.
class ConfigElement final : public TiXmlElement {
 public:
  ConfigElement(const char* tag, std::weak_ptr<ConfigIndex> index);
  ~ConfigElement() override;
  ConfigElement(const ConfigElement&) = delete;
  ConfigElement& operator=(const ConfigElement&) = delete;

 private:
  std::weak_ptr<ConfigIndex> index_;
};

// Replaces every element of a document that nobody holds by a ConfigElement.
void MakeConfigElements(TiXmlDocument& document, const std::shared_ptr<ConfigIndex>& index);

}  // namespace orvik
