#include "files/edition.h"

namespace orvik {

bool CPagewellEditionHelper::m_bPagewellStudentMode = false;
bool CPagewellEditionHelper::m_bPagewellStudentUSBMode = false;
COrvikDirectoryPath CPagewellEditionHelper::m_pathUSBInstallDir;

void CPagewellEditionHelper::SetPagewellStudentMode(bool on) {
  m_bPagewellStudentMode = on;
}

bool CPagewellEditionHelper::IsPagewellStudentMode() {
  return m_bPagewellStudentMode;
}

void CPagewellEditionHelper::SetPagewellStudentUSBMode(bool on) {
  m_bPagewellStudentUSBMode = on;
}

bool CPagewellEditionHelper::IsPagewellStudentUSBMode() {
  return m_bPagewellStudentUSBMode;
}

void CPagewellEditionHelper::SetPagewellStudentUSBInstallDirectory(
    const COrvikDirectoryPath& folder) {
  m_pathUSBInstallDir = folder;
}

COrvikDirectoryPath CPagewellEditionHelper::GetPagewellStudentUSBInstallDirectory() {
  return m_pathUSBInstallDir;
}

}  // namespace orvik
