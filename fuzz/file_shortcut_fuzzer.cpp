// Any bytes as a shortcut to a file: a new shortcut to its target leads to the same place.
#include <cstddef>
#include <cstdint>
#include <string>

#include "files/file_manipulator.h"
#include "files/file_path.h"
#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"

using orvik::CFileManipulator;
using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvik::fuzz::ScratchFolder scratch;
  const std::filesystem::path path = scratch.path() / "shortcut.lnk";
  orvik::fuzz::WriteFile(path, orvik::fuzz::Bytes(data, size));
  const orvik::COrvikFilePath shortcut(orvik::CAtlString(path.u16string()));
  const orvik::COrvikFilePath target = CFileManipulator::ResolveShortcut(shortcut);

  const orvik::HRESULT written = CFileManipulator::CreateShortcut(shortcut, target);
  Require((written == orvik::S_OK) == (target.IsEmptyPath() == orvik::FALSE));
  if (written != orvik::S_OK) {
    Require(orvik::fuzz::ReadFile(path) == orvik::fuzz::Bytes(data, size));
    return 0;
  }
  // Every conversion of a text into a path removes one "/" from its end.
  const orvik::COrvikFilePath expected(target.GetFilePathString());
  const orvik::COrvikFilePath again = CFileManipulator::ResolveShortcut(shortcut);
  Require(again.GetFilePathString().View() == expected.GetFilePathString().View());
  return 0;
}
