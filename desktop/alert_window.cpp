#include "desktop/alert_backends.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "text/shown_text.h"
#include "text/transcoding.h"
#include "text/xml_scanner.h"

extern char** environ;

namespace orvik::desktop {
namespace {

// We choose these exit statuses, so that a failure of the program cannot be taken for an answer.
constexpr int kOkStatus = 120;
constexpr int kCancelStatus = 121;
constexpr int kDismissedStatus = 122;
constexpr int kExtraStatus = 123;
constexpr int kTimeoutStatus = 5;  // fixed by the program

// The value of the variable; empty when it is not set.
std::string_view Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// The request's buttons in the order of the program's OK (right), cancel (left) and extra button.
std::vector<int> ButtonPlaces(const AlertRequest& request, bool scrolls) {
  const int count = static_cast<int>(request.buttons.size());
  if (count == 1) return {0};
  const int left = request.cancel_button >= 0 ? request.cancel_button : 1;
  std::vector<int> places;
  for (int button = 0; button < count; ++button) {
    if (button != left) places.push_back(button);
  }
  places.insert(places.begin() + 1, left);
  const auto place = std::find(places.begin(), places.end(), request.default_button);
  if (place != places.end() && (scrolls || place - places.begin() == 2)) {
    std::iter_swap(places.begin(), place);
  }
  return places;
}

std::u16string Utf16(const std::string& text) {
  std::u16string units(text.size(), u'\0');
  const char* source = text.data();
  char16_t* target = units.data();
  while (DecodeUtf8(source, text.data() + text.size(), target, units.data() + units.size()) !=
         TranscodingStop::kDone) {
    *target++ = kReplacementCharacter;
    ++source;
  }
  units.resize(static_cast<std::size_t>(target - units.data()));
  return units;
}

std::string Utf8(std::u16string_view units) {
  std::string text(units.size() * 3, '\0');
  const char16_t* source = units.data();
  char* target = text.data();
  EncodeUtf8(source, units.data() + units.size(), target, text.data() + text.size());
  text.resize(static_cast<std::size_t>(target - text.data()));
  return text;
}

// The program breaks lines only between words, and makes its window as wide as the longest word. A
// zero-width space after 24 columns without a blank lets it break there, too.
std::u16string WithBreaks(std::u16string_view text) {
  constexpr int kLongestPiece = 24;
  constexpr char16_t kZeroWidthSpace = 0x200B;
  std::u16string broken;
  int columns = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::u16string_view character = text.substr(at, CharacterLength(text.substr(at)));
    at += character.size();
    const int width = ColumnsOf(character);
    if (character == u" " || character == u"\n") {
      columns = 0;
    } else if (width > 0 && columns + width > kLongestPiece) {
      broken += kZeroWidthSpace;
      columns = width;
    } else {
      columns += width;
    }
    broken += character;
  }
  return broken;
}

int LinesOf(std::u16string_view text) {
  constexpr int kUsualColumns = 54;  // of a line of about 60 that is broken between words
  int lines = 0;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(u'\n', start), text.size());
    lines += 1 + std::max(0, ColumnsOf(text.substr(start, end - start)) - 1) / kUsualColumns;
    start = end + 1;
  }
  return lines;
}

// The program interprets backslash escapes in its text, and then markup.
std::string EscapeText(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    const bool is_markup = c == '&' || c == '<' || c == '>';
    if (c == '\\') escaped += '\\';
    escaped += is_markup ? XmlReference(c) : std::string_view(&c, 1);
  }
  return escaped;
}

// A single underscore in a label would define a keyboard shortcut.
std::string EscapeLabel(std::string_view label) {
  std::string escaped;
  for (const char c : label) escaped.append(c == '_' ? 2 : 1, c);
  return escaped;
}

// Indexed by the level; a plain alert has no icon.
constexpr const char* kIconNames[] = {"dialog-error", "dialog-information", "dialog-warning",
                                      nullptr};
static_assert(static_cast<int>(AlertLevel::kPlain) == 3);

// Labels are UTF-8, which the program accepts only in a UTF-8 locale.
bool LocaleIsUtf8() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const std::string_view value = Variable(variable);
    if (value.empty()) continue;
    return value.find("UTF-8") != value.npos || value.find("utf8") != value.npos;
  }
  return false;
}

std::vector<std::string> WindowEnvironment() {
  std::vector<std::string> variables{"ZENITY_OK=" + std::to_string(kOkStatus),
                                     "ZENITY_CANCEL=" + std::to_string(kCancelStatus),
                                     "ZENITY_ESC=" + std::to_string(kDismissedStatus),
                                     "ZENITY_EXTRA=" + std::to_string(kExtraStatus)};
  const bool set_locale = !LocaleIsUtf8();
  if (set_locale) variables.emplace_back("LC_ALL=C.UTF-8");
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (text.starts_with("ZENITY_") || (set_locale && text.starts_with("LC_ALL="))) continue;
    variables.emplace_back(text);
  }
  return variables;
}

}  // namespace

AlertWindow WindowFor(const AlertRequest& request) {
  AlertWindow window;
  const std::u16string message = Utf16(request.message);
  const bool scrolls = LinesOf(message) > kMessageLines;
  window.button_places = ButtonPlaces(request, scrolls);
  const std::vector<int>& places = window.button_places;
  const auto label = [&](std::size_t place) {
    // The program has no style for a destructive button.
    const char* mark = places[place] == request.destructive_button ? "\u26A0 " : "";
    return mark + EscapeLabel(request.buttons[static_cast<std::size_t>(places[place])]);
  };
  const std::string text = Utf8(WithBreaks(message));

  std::vector<std::string>& arguments = window.arguments;
  arguments = {"zenity", "--title=" + request.header};
  if (scrolls) {
    arguments.insert(arguments.end(), {"--text-info", "--width=520", "--height=400"});
    window.input = request.header.empty() ? text : request.header + "\n\n" + text;
  } else {
    std::string shown = EscapeText(text);
    if (!request.header.empty()) {
      shown = "<b>" + EscapeText(Utf8(WithBreaks(Utf16(request.header)))) + "</b>\n\n" + shown;
    }
    arguments.emplace_back(places.size() == 1 ? "--info" : "--question");
    arguments.push_back("--text=" + shown);
    if (const char* icon = kIconNames[static_cast<int>(request.level)]) {
      arguments.push_back(std::string("--icon-name=") + icon);
    }
    if (places.size() > 1 && request.default_button == places[1]) {
      arguments.emplace_back("--default-cancel");
    }
  }
  arguments.push_back("--ok-label=" + label(0));
  if (places.size() > 1) arguments.push_back("--cancel-label=" + label(1));
  if (places.size() > 2) arguments.push_back("--extra-button=" + label(2));
  if (request.timeout > 0) {
    const long seconds = std::lround(std::ceil(std::fmin(request.timeout, 1e9)));
    arguments.push_back("--timeout=" + std::to_string(seconds));
  }
  return window;
}

std::optional<int> AskInWindow(const AlertRequest& request) {
  if (Variable("DISPLAY").empty() && Variable("WAYLAND_DISPLAY").empty()) return std::nullopt;
  const AlertWindow window = WindowFor(request);
  const std::vector<int>& places = window.button_places;
  const CompanionOutcome outcome =
      RunCompanion(window.arguments, WindowEnvironment(), window.input);
  switch (outcome.status) {
    case kOkStatus:
      return places[0];
    case kCancelStatus:
      return places.size() > 1 ? places[1] : kAlertClosed;
    case kExtraStatus:
    case kDismissedStatus:
      // The extra button prints its label; without output the window was closed.
      return !outcome.output.empty() && places.size() > 2 ? places[2] : kAlertClosed;
    case kTimeoutStatus:
      return request.timeout > 0 ? std::optional<int>(kAlertClosed) : std::nullopt;
    default:
      return std::nullopt;
  }
}

}  // namespace orvik::desktop
