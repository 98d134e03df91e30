#include "frame/deletePersistentIssConfig.h"

#include <unistd.h>

#include <cstring>

#include "File.h"
#include "TraceObject.h"
#include "executeCommand.h"

namespace {

constexpr LogPlace atDeletePersistentIssConfig{"main", "deletePersistentIssConfig"};

constexpr const char* selectionFile = "/flash/config/current/selected.txt";
constexpr size_t selectionSize = 128;  ///< bytes read of the selection file
constexpr size_t actionTypeLength = 3;
constexpr std::string_view flashMount = "/flash";
constexpr std::string_view sdCardMount = "/mnt/mmccard/VORNA_CONFIG";

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

}  // namespace

IssConfigSelection parseSelection(std::string_view selected) {
  IssConfigSelection selection{std::string(selected.substr(0, actionTypeLength)), {}, std::string::npos};
  if (selected.size() <= actionTypeLength) return selection;
  selection.folder = selected.substr(actionTypeLength + 1);
  selection.newlineAt = selection.folder.rfind('\n');
  if (selection.newlineAt != std::string::npos) selection.folder.resize(selection.newlineAt);
  return selection;
}

std::string issFolderOnSdCard(std::string_view issFolder) {
  std::string onSdCard(sdCardMount);
  if (issFolder.size() > flashMount.size()) onSdCard += issFolder.substr(flashMount.size());
  return onSdCard;
}

void deletePersistentIssConfig() {
  LOG(DEBUG3, atDeletePersistentIssConfig, 763, "called");
  if (!exists(selectionFile)) {
    LOG(NOTICE, atDeletePersistentIssConfig, 766, "%s does not exist", selectionFile);
    return;
  }
  otn::File file(selectionFile);
  if (!file.openFile(0)) return;
  char buffer[selectionSize + 1] = {};  // the last byte is never read into: it ends the text
  if (!file.readFile(buffer, selectionSize)) return;
  LOG(DEBUG3, atDeletePersistentIssConfig, 780, "buffer=%s", buffer);

  const std::string_view selected(buffer);
  const IssConfigSelection selection = parseSelection(selected);
  LOG(DEBUG3, atDeletePersistentIssConfig, 783, "selected='%s', actionType='%s'", buffer,
      selection.actionType.c_str());
  // Fewer than four characters name no folder: nothing is removed, whatever would stand below "/iss".
  if (selection.actionType != "dir" || selected.size() <= actionTypeLength) return;
  if (selection.newlineAt != std::string::npos) {
    LOG(DEBUG3, atDeletePersistentIssConfig, 793, "delete newline at pos=%d",
        static_cast<int>(selection.newlineAt));
  }
  LOG(DEBUG3, atDeletePersistentIssConfig, 796, "folder='%s'", selection.folder.c_str());

  const std::string onFlash = selection.folder + "/iss";
  LOG(DEBUG3, atDeletePersistentIssConfig, 800, "issFolder=%s", onFlash.c_str());
  if (exists(onFlash)) {
    const std::string command = "rm -rf " + onFlash;
    LOG(ERROR, atDeletePersistentIssConfig, 803, "Delete iss folder on flash [command = '%s']",
        command.c_str());
    otn::executeCommand(command.c_str(), true, nullptr, nullptr, true);
  }

  const std::string onSdCard = issFolderOnSdCard(onFlash);
  LOG(DEBUG3, atDeletePersistentIssConfig, 810, "issFolder=%s", onSdCard.c_str());
  if (exists(onSdCard)) {
    const std::string command = "rm -rf " + onSdCard;
    LOG(ERROR, atDeletePersistentIssConfig, 813, "Delete iss folder on SD card [command = '%s']",
        command.c_str());
    otn::executeCommand(command.c_str(), true, nullptr, nullptr, true);
  }
}
