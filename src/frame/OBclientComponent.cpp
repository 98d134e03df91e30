#include "frame/OBclientComponent.h"

namespace {

std::string coreFilePathOf(const OBcomponent::ExtraCfg* cfg) {
  if (cfg == nullptr || cfg->instanceName == nullptr) return "/tmp/obcore/obcore";
  return std::string("/tmp/obcore/") + cfg->instanceName + "/obcore";
}

}  // namespace

OBclientComponent::OBclientComponent(const char* name, const ExtraCfg* cfg)
    : OBcomponent(name, cfg), m_coreFilePath(coreFilePathOf(cfg)) {}
