// Which edition of the application runs. Set at start-up, before other threads read it.
#pragma once

#include "files/directory_path.h"

namespace [[gnu::visibility("default")]] orvik {

class CPagewellEditionHelper {
 public:
  CPagewellEditionHelper() = delete;

  // Student mode changes the names of the temporary folders (directory_path.h).
  static void SetPagewellStudentMode(bool on);
  static bool IsPagewellStudentMode();

  // Student mode from a USB stick and the folder it was installed in; stored for the application.
  static void SetPagewellStudentUSBMode(bool on);
  static bool IsPagewellStudentUSBMode();
  static void SetPagewellStudentUSBInstallDirectory(const COrvikDirectoryPath& folder);
  static COrvikDirectoryPath GetPagewellStudentUSBInstallDirectory();

 private:
  static bool m_bPagewellStudentMode;
  static bool m_bPagewellStudentUSBMode;
  static COrvikDirectoryPath m_pathUSBInstallDir;
};

}  // namespace orvik
