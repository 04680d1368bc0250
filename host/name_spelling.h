// Finding a path whose accented letters are spelled otherwise on disk (composed or decomposed,
// Unicode forms C and D). The file systems here take the two spellings for different names; the
// system's names are the same in both.
#pragma once

#include <optional>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The existing path that differs from `path` (absolute) in spelling only; nothing when there is
// none. A component that exists as spelled is taken so. Costs nothing for ASCII paths.
std::optional<std::string> FindOtherSpelling(const std::string& path);

}  // namespace host
}  // namespace orvik
