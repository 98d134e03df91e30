// The default methods of the generated interface classes: line, function and signature are fixed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OBOchTriggerTrelvik_1_0_S.h"
#include "OBcommon_1_0_S.h"
#include "OBdiagnostics_1_0_S.h"
#include "OBgetIssParams_1_0_S.h"
#include "OBredundantInfo_1_0_S.h"
#include "OBsetIssMgrParams_1_0_S.h"
#include "OBsetPortParams_1_0_S.h"
#include "OBsetSmartSfpParams_1_0_S.h"
#include "OBsetSyncEParams_1_0_S.h"
#include "support/SyslogCapture.h"

namespace {

using testing::ElementsAre;

std::string line(const std::string& cls, int number, const std::string& method,
                 const std::string& parameters) {
  return "[ERROR] " + cls + ":" + std::to_string(number) + " (" + method +
         ") - Error, this function should never be called [virtual void " + cls + "::" + method + "(" +
         parameters + ")]]\n";
}

template <class Interface>
struct Service : Interface {
  void register_interface(OBcomponent*) override {}
};

class GeneratedDefaults : public testing::Test {
 protected:
  GeneratedDefaults() { g_traceObject = new TraceObject("Trelvik", trace::ERROR); }
  ~GeneratedDefaults() override {
    delete g_traceObject;
    g_traceObject = nullptr;
  }
  SyslogCapture m_log;
};

TEST_F(GeneratedDefaults, ofCommon) {
  Service<OBcommon_1_0_SI> service;
  int32_t level = 0;
  service.get_trace_level(level);
  service.set_trace_level(1);
  service.get_trace_level(nullptr, level);
  service.set_trace_level(nullptr, 1);
  const std::string cls = "OBcommon_1_0_SI";
  EXPECT_THAT(m_log.lines(), ElementsAre(line(cls, 33, "get_trace_level", "int32_t&"),
                                         line(cls, 36, "set_trace_level", "int32_t"),
                                         line(cls, 41, "get_trace_level", "OBstubReply*, int32_t&"),
                                         line(cls, 44, "set_trace_level", "OBstubReply*, int32_t")));
}

TEST_F(GeneratedDefaults, ofSetPortParams) {
  Service<OBsetPortParams_1_0_SI> service;
  service.setPortParams(1U, 2U, 3U, 4U, true, 5U, 6U, 7U);
  service.setPortParams(nullptr, 1U, 2U, 3U, 4U, true, 5U, 6U, 7U);
  const std::string types = "uint32_t, uint32_t, uint32_t, uint32_t, bool, uint32_t, uint32_t, uint32_t";
  EXPECT_THAT(m_log.lines(),
              ElementsAre(line("OBsetPortParams_1_0_SI", 33, "setPortParams", types),
                          line("OBsetPortParams_1_0_SI", 38, "setPortParams", "OBstubReply*, " + types)));
}

TEST_F(GeneratedDefaults, ofOchTrigger) {
  Service<OBOchTriggerTrelvik_1_0_SI> service;
  service.triggerDataUser(1, true);
  service.triggerDataUser(nullptr, 1, true);
  const std::string cls = "OBOchTriggerTrelvik_1_0_SI";
  EXPECT_THAT(m_log.lines(), ElementsAre(line(cls, 33, "triggerDataUser", "int32_t, bool"),
                                         line(cls, 38, "triggerDataUser", "OBstubReply*, int32_t, bool")));
}

TEST_F(GeneratedDefaults, ofSetIssMgrParams) {
  Service<OBsetIssMgrParams_1_0_SI> service;
  service.setIssMgrParams(1U, 2U, 3U, 4U, 5, 6U, 7U, 8U, 9U, 10U, 11U, "12", 13U, 14U, 15U, uint16_t{16}, 17,
                          18);
  service.setIssMgrParams(nullptr, 1U, 2U, 3U, 4U, 5, 6U, 7U, 8U, 9U, 10U, 11U, "12", 13U, 14U, 15U,
                          uint16_t{16}, 17, 18);
  const std::string types =
      "uint32_t, uint32_t, uint32_t, uint32_t, int32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, "
      "uint32_t, std::string, uint32_t, uint32_t, uint32_t, uint16_t, int32_t, int32_t";
  const std::string cls = "OBsetIssMgrParams_1_0_SI";
  EXPECT_THAT(m_log.lines(), ElementsAre(line(cls, 33, "setIssMgrParams", types),
                                         line(cls, 38, "setIssMgrParams", "OBstubReply*, " + types)));
}

TEST_F(GeneratedDefaults, ofSetSyncEParams) {
  Service<OBsetSyncEParams_1_0_SI> service;
  service.setSyncEParam(1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U);
  service.setSyncEParam(nullptr, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U);
  const std::string types =
      "uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t";
  const std::string cls = "OBsetSyncEParams_1_0_SI";
  EXPECT_THAT(m_log.lines(), ElementsAre(line(cls, 33, "setSyncEParam", types),
                                         line(cls, 38, "setSyncEParam", "OBstubReply*, " + types)));
}

TEST_F(GeneratedDefaults, ofSetSmartSfpParams) {
  Service<OBsetSmartSfpParams_1_0_SI> service;
  service.setSmartSfpParams(1U, 2U, 3U, 4U, 5U, "6");
  service.setSmartSfpParams(nullptr, 1U, 2U, 3U, 4U, 5U, "6");
  const std::string types = "uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, std::string";
  const std::string cls = "OBsetSmartSfpParams_1_0_SI";
  EXPECT_THAT(m_log.lines(), ElementsAre(line(cls, 33, "setSmartSfpParams", types),
                                         line(cls, 38, "setSmartSfpParams", "OBstubReply*, " + types)));
}

TEST_F(GeneratedDefaults, ofGetIssParams) {
  Service<OBgetIssParams_1_0_SI> service;
  uint32_t n = 0;
  service.getInterfaceReceptionAndTransmissionCounters(1U, n, n, n, n, n, n, n, n, n);
  service.getInterfaceReceptionAndTransmissionCounters(nullptr, 1U, n, n, n, n, n, n, n, n, n);
  const std::string types =
      "uint32_t, uint32_t&, uint32_t&, uint32_t&, uint32_t&, uint32_t&, uint32_t&, uint32_t&, uint32_t&, "
      "uint32_t&";
  const std::string cls = "OBgetIssParams_1_0_SI";
  const std::string method = "getInterfaceReceptionAndTransmissionCounters";
  EXPECT_THAT(m_log.lines(),
              ElementsAre(line(cls, 33, method, types), line(cls, 38, method, "OBstubReply*, " + types)));
}

TEST_F(GeneratedDefaults, ofDiagnostics) {
  Service<OBdiagnostics_1_0_SI> service;
  std::string s;
  bool b = false;
  int64_t x = 0;
  uint32_t u = 0;
  uint64_t t = 0;
  service.getStatus(s, s, s, s, b, b, x, u, u, s, u, u, u, t, t, u, u, u, s);
  service.getStatus(nullptr, s, s, s, s, b, b, x, u, u, s, u, u, u, t, t, u, u, u, s);
  const std::string types =
      "std::string&, std::string&, std::string&, std::string&, bool&, bool&, int64_t&, uint32_t&, uint32_t&, "
      "std::string&, uint32_t&, uint32_t&, uint32_t&, uint64_t&, uint64_t&, uint32_t&, uint32_t&, uint32_t&, "
      "std::string&";
  const std::string cls = "OBdiagnostics_1_0_SI";
  EXPECT_THAT(m_log.lines(), ElementsAre(line(cls, 33, "getStatus", types),
                                         line(cls, 38, "getStatus", "OBstubReply*, " + types)));
}

TEST_F(GeneratedDefaults, ofRedundantInfo) {
  Service<OBredundantInfo_1_0_SI> service;
  service.setRedundantState(1);
  service.setRedundantState(nullptr, 1);
  const std::string cls = "OBredundantInfo_1_0_SI";
  EXPECT_THAT(m_log.lines(), ElementsAre(line(cls, 33, "setRedundantState", "int32_t"),
                                         line(cls, 38, "setRedundantState", "OBstubReply*, int32_t")));
}

TEST_F(GeneratedDefaults, ofConnection) {
  Service<OBcommon_1_0_SI> service;
  OBcommon_1_0_S stub(&service, nullptr);
  OBmessage message;
  stub.connection_process_message(message);
  stub.process_message(message);
  peer_info_t peer{};
  stub.process_message(message, peer);
  const std::string text = " - Error, this function should never be called";
  EXPECT_THAT(m_log.lines(),
              ElementsAre("[ERROR] OBconnection:40 (connection_process_message)" + text +
                              " [virtual void OBconnection::connection_process_message(OBmessage&)]]",
                          "[ERROR] OBconnection:44 (process_message)" + text +
                              " [virtual void OBconnection::process_message(OBmessage&)]]",
                          "[ERROR] OBconnection:48 (process_message)" + text +
                              "; [virtual void OBconnection::process_message(OBmessage&, peer_info_t&)]]"));
}

TEST_F(GeneratedDefaults, logNothingBelowTheirLevel) {
  g_traceObject->levelHolder()->level = trace::CRITICAL;
  Service<OBcommon_1_0_SI> service;
  service.set_trace_level(1);
  EXPECT_TRUE(m_log.lines().empty());
}

}  // namespace
