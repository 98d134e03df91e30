// Removal of ISS's saved configuration, after ISS failed to restore it.
#pragma once

#include <string>
#include <string_view>

/// Where the selected configuration is kept.
struct IssConfigSelection {
  std::string actionType;  ///< only "dir" is acted on
  std::string folder;      ///< without what follows its last line feed
  size_t newlineAt;        ///< where that line feed stood; npos for none
};

/// Reads a selection line: three characters of action type, a separator, the folder. Pure.
IssConfigSelection parseSelection(std::string_view selected);

/// The same folder on the SD card: its flash mount prefix replaced, whatever it is. Pure.
std::string issFolderOnSdCard(std::string_view issFolder);

/// Removes the ISS folders of the selected configuration on flash and SD card. Main thread; runs commands.
void deletePersistentIssConfig();
