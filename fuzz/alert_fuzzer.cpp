// Alerts with any text and any answer. The shown text has no control characters and no foreign
// markup, and the answer is that of a simple reader of the lines.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "desktop/alert.h"
#include "desktop/alert_backends.h"
#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "host/descriptor.h"

using orvik::desktop::AlertRequest;
using orvik::fuzz::Require;

namespace {

AlertRequest AsShown(const AlertRequest& request) {
  AlertRequest shown;
  const orvik::desktop::ScopedAlertAnswer answer([&](const AlertRequest& plain) {
    shown = plain;
    return std::optional(0);
  });
  Require(orvik::desktop::ShowAlert(request) == 0);
  return shown;
}

void CheckPlain(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    Require((byte >= 0x20 && byte != 0x7F) || byte == '\n');
  }
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

int PlainAnswer(std::string_view typed, const AlertRequest& request) {
  while (!typed.empty()) {
    std::string_view line = orvik::fuzz::TakePart(typed, '\n');
    while (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) return request.default_button;
    for (std::size_t i = 0; i < request.buttons.size(); ++i) {
      if (line == std::to_string(i + 1) || EqualsIgnoringCase(line, request.buttons[i])) {
        return static_cast<int>(i);
      }
    }
  }
  return orvik::desktop::kAlertClosed;
}

// Checks the text of the window: only the header has markup.
void CheckMarkup(std::string_view text, bool has_header) {
  if (has_header) {
    Require(text.starts_with("<b>"));
    const std::size_t end = text.find("</b>\n\n");
    Require(end != std::string_view::npos);
    CheckMarkup(text.substr(3, end - 3), false);
    text.remove_prefix(end + 6);
  }
  Require(text.find_first_of("<>") == std::string_view::npos);
  while (!text.empty()) {
    if (text.front() == '&') {
      Require(text.starts_with("&amp;") || text.starts_with("&lt;") || text.starts_with("&gt;"));
    } else if (text.front() == '\\') {
      Require(text.starts_with("\\\\"));
      text.remove_prefix(1);
    }
    text.remove_prefix(1);
  }
}

}  // namespace

// The first byte chooses the default button and the number of buttons. Header, message, buttons and
// the typed input follow, each up to a 0 byte.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string bytes = orvik::fuzz::Bytes(data + 1, size - 1);
  std::string_view rest(bytes);
  AlertRequest request;
  request.header = orvik::fuzz::TakePart(rest, '\0');
  request.message = orvik::fuzz::TakePart(rest, '\0');
  for (int i = data[0] % 5; i > 0; --i) {
    request.buttons.emplace_back(orvik::fuzz::TakePart(rest, '\0'));
  }
  request.default_button = data[0] / 5 % 8 - 2;
  const std::string typed(rest.substr(0, rest.find('\0')));

  const AlertRequest shown = AsShown(request);
  CheckPlain(shown.header);
  CheckPlain(shown.message);
  for (const std::string& button : shown.buttons) CheckPlain(button);
  Require(!shown.buttons.empty() && shown.buttons.size() <= 3);
  Require(shown.default_button >= 0 &&
          shown.default_button < static_cast<int>(shown.buttons.size()));

  for (const std::string& argument : orvik::desktop::WindowFor(shown).arguments) {
    constexpr std::string_view kText = "--text=";
    if (!argument.starts_with(kText)) continue;
    CheckMarkup(std::string_view(argument).substr(kText.size()), !shown.header.empty());
  }

  const std::string input = typed + '\n';
  const orvik::host::Descriptor in(memfd_create("typed", 0));
  Require(write(in.get(), input.data(), input.size()) == static_cast<ssize_t>(input.size()));
  lseek(in.get(), 0, SEEK_SET);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen("/dev/null", "w"),
                                                            &std::fclose);
  Require(out != nullptr);
  Require(orvik::desktop::AskThrough(in.get(), out.get(), shown) == PlainAnswer(input, shown));
  return 0;
}
