// This program as a component on the OTN bus. Owned by the bus thread.
#pragma once

#include <string>

#include "OBcomponent.h"

class OBclientComponent : public OBcomponent {
 public:
  OBclientComponent(const char* name, const ExtraCfg* cfg);

  /// Where the component's core files belong.
  const std::string& coreFilePath() const { return m_coreFilePath; }

 private:
  std::string m_coreFilePath;
};
