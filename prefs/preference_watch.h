// Watching for changes of preferences by any process.
//
//   PreferenceWatch watch(kSharedScope, u"Software", u"com.example.Editor");
//   poll(...watch.descriptor()...);
//   for (const PreferenceChange& change : watch.TakeChanges()) ...
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "plist/differences.h"
#include "prefs/pref_status.h"

namespace [[gnu::visibility("default")]] orvik {

// One value that changed (plist/differences.h); its path starts at the watched key.
using PreferenceChange = plist::Difference;

// Watches the file behind a scope and domain, and the targets of links to it. The file and its
// folders may be missing. An object is used by one thread at a time.
class PreferenceWatch {
 public:
  // Watches everything below the key, or the whole domain for an empty key path.
  PreferenceWatch(int scope, std::u16string_view key_path, std::u16string_view domain);
  ~PreferenceWatch();
  PreferenceWatch(const PreferenceWatch&) = delete;
  PreferenceWatch& operator=(const PreferenceWatch&) = delete;
  // The watch continues in the new object, with the same descriptor. The old object may only be
  // destroyed or assigned to.
  PreferenceWatch(PreferenceWatch&&) noexcept;
  PreferenceWatch& operator=(PreferenceWatch&&) noexcept;

  // kUnknownScope, kRefusedDomain; kNotPermitted when the system grants no watch; for a file that
  // cannot be read, the reason: then the last values stay until it can be read.
  const PrefStatus& status() const;

  // For poll, epoll or an event loop: readable when TakeChanges should be called. It belongs to the
  // object. -1 when the system grants no watch.
  int descriptor() const;

  // The changes since the object was made or since the last call. Never blocks.
  std::vector<PreferenceChange> TakeChanges();

  // The values that the constructor or TakeChanges found last, in a dictionary, which is empty if
  // the key does not exist. Valid until the next call of TakeChanges.
  const plist::Value& values() const;

 private:
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orvik
