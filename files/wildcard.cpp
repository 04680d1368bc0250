#include "files/wildcard.h"

namespace orvik {

bool MatchesWildcard(std::u16string_view name, std::u16string_view pattern) {
  while (!name.empty()) {
    if (pattern.empty()) return false;
    if (pattern.front() == u'*') {
      pattern.remove_prefix(1);
      if (pattern.empty()) return true;
      if (pattern.front() != u'?') {
        const std::size_t stop = name.find(pattern.front());
        name.remove_prefix(stop == std::u16string_view::npos ? name.size() : stop);
      }
    } else {
      if (pattern.front() != u'?' && pattern.front() != name.front()) return false;
      pattern.remove_prefix(1);
      name.remove_prefix(1);
    }
  }
  return pattern.empty() || pattern == u"*";
}

}  // namespace orvik
