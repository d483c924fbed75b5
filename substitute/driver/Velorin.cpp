#include "substitute/driver/Velorin.h"

#include <fstream>

namespace substitute {

namespace {

const std::string addinFolder = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin";

}  // namespace

Settings settingsIn(const std::string& directory) {
  Settings settings;
  settings.executable = directory + "/Autodesk/webdeploy/production/Fusion";
  settings.entitlement = exampleEntitlement;
  return settings;
}

std::string addinFolderIn(const std::string& directory) {
  return directory + "/" + addinFolder;
}

std::string infoFileOf(const Host& host) {
  std::string path = host.settings().executable;
  if (path.size() > 511) path.clear();  // more than the add-in has room for
  const auto separator = path.find_last_of("/\\");
  path.erase(separator == std::string::npos ? 0 : separator);
  const auto anchor = path.find("Autodesk");
  if (anchor != std::string::npos) path.erase(anchor);
  return path + addinFolder + "/Velorin_Info.txt";
}

std::string startCountIn(const std::string& infoFile) {
  std::ifstream file(infoFile);
  std::string date;
  std::string count;
  std::getline(file, date);
  std::getline(file, count);
  if (!count.empty() && count.back() == '\r') count.pop_back();
  return count.substr(0, 12);
}

}  // namespace substitute
