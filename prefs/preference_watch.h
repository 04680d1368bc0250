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

// Watches the file behind a scope and domain, and the files that links lead to. Neither the file
// nor its folders need exist. An object is used by one thread at a time.
class PreferenceWatch {
 public:
  // Watches everything below the key; the whole domain for an empty key path.
  PreferenceWatch(int scope, std::u16string_view key_path, std::u16string_view domain);
  ~PreferenceWatch();
  PreferenceWatch(const PreferenceWatch&) = delete;
  PreferenceWatch& operator=(const PreferenceWatch&) = delete;
  // The watch goes on in the new object, with the same descriptor. The old one may only be
  // destroyed or assigned to.
  PreferenceWatch(PreferenceWatch&&) noexcept;
  PreferenceWatch& operator=(PreferenceWatch&&) noexcept;

  // kUnknownScope, kRefusedDomain; kNotPermitted when the system grants no watch. Of a file that
  // cannot be read, why: the last values then hold until it can be.
  const PrefStatus& status() const;

  // For poll, epoll or an event loop: readable when TakeChanges should be called. -1 when the
  // system grants none. It belongs to the object.
  int descriptor() const;

  // The changes since the object was made or since the last call. Never blocks.
  std::vector<PreferenceChange> TakeChanges();

  // The values as the constructor or TakeChanges last found them, in a dictionary, which is empty
  // where there is no such key. Valid until the next call of TakeChanges.
  const plist::Value& values() const;

 private:
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orvik
