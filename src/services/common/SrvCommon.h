// The interface that every bus component exports: the trace level. Bus thread only.
#pragma once

#include "OBcommon_1_0_S.h"
#include "OBcommon_1_0_SI.h"

class SrvCommon : public OBcommon_1_0_SI {
 public:
  SrvCommon() = default;
  ~SrvCommon() override;

  void register_interface(OBcomponent* component) override;

  /// 0 when there is no trace object.
  void get_trace_level(int32_t& level) override;
  /// 0 to 10; anything else is logged and ignored.
  void set_trace_level(int32_t level) override;
  using OBcommon_1_0_SI::get_trace_level;
  using OBcommon_1_0_SI::set_trace_level;

 private:
  OBcommon_1_0_S* m_pStub = nullptr;
};
