#include <cstdio>
#include <cstring>

int Length(const char* text, std::size_t size);

int main(int argc, char** argv) {
  char line[64];
  std::strncpy(line, argv[argc - 1], sizeof line - 1);
  line[sizeof line - 1] = 0;
  char shown[80];
  std::snprintf(shown, sizeof shown, "%s %d", line, Length(line, std::strlen(line)));
  std::puts(shown);
}
