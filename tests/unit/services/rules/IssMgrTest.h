// Fixture of the tests of the ISS manager's requests, and the parts that their expected messages share.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "services/rules/SrvIssMgr.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

enum : uint32_t { ets, mstpLan, mstpWan, flushOnly, mrp, mrpGlobal, lldp };
enum : uint32_t { creation, deletion, modification, notApplicable, noAction };

class IssMgrTest : public RingTest {
 protected:
  IssMgrTest() {
    FakeBus::clear();
    SrvIssMgr::createInstance();
  }
  ~IssMgrTest() override { SrvIssMgr::destroyInstance(); }

  static SrvIssMgr& service() { return SrvIssMgr::getInstance(); }

  /// A request without labels and second command; no two of its other arguments are the same.
  static IssMgrArguments request(uint32_t ruleType, uint32_t action) {
    return {ruleType, action, 0x5, 0x8000003, 0,  0x1234,     1,         3,          0x2A7,
            0,        0,      71,  -2,        "", 0xC0FFEE01, 0x7E5E7E5, 0xC0A80164, 0x1F2E};
  }
  static IssMgrArguments with(IssMgrArguments arguments, uint32_t vp, uint32_t mplsLbl = 0,
                              uint32_t pwLbl = 0) {
    arguments.vp = vp;
    arguments.mplsLbl = mplsLbl;
    arguments.pwLbl = pwLbl;
    return arguments;
  }

  static IssMgrBatch built(const IssMgrArguments& arguments) {
    IssMgrBatch batch;
    const Guard guard(&mutex);
    buildIssMgrMessages(service(), arguments, batch);
    return batch;
  }
  /// The request makes exactly one message, which has these bytes.
  static ::testing::AssertionResult makesExactly(const IssMgrArguments& arguments,
                                                 const std::vector<Field>& fields) {
    const IssMgrBatch batch = built(arguments);
    if (batch.refused) return ::testing::AssertionFailure() << "refused";
    if (batch.count != 1) return ::testing::AssertionFailure() << batch.count << " messages";
    return hasExactly(batch.messages[0], fields);
  }
  static void expectNothing(const IssMgrArguments& arguments) {
    const IssMgrBatch batch = built(arguments);
    EXPECT_EQ(batch.count, 0);
    EXPECT_FALSE(batch.refused);
  }

  static std::string workerLine(const std::string& level, int number, const std::string& text) {
    return logged(level, "SrvIssMgr", number, "run_iss_IssMgr_thread", text);
  }

  /// A filter rule: its entries, and the fields in which rules differ.
  static std::vector<Field> trap(const Matches& entries, const std::vector<Field>& fields) {
    return joined({{ofType(INTERESTED_PACKET_IND),
                    {"entries", entries},
                    {"entryCount", static_cast<uint32_t>(entries.size())}},
                   fields});
  }
  static Match labels(uint32_t mpls, uint32_t pw, uint32_t mplsMask, uint32_t pwMask) {
    return {11, words({mpls, pw}), words({mplsMask, pwMask})};
  }
  static std::vector<Field> joined(std::initializer_list<std::vector<Field>> parts) {
    std::vector<Field> all;
    for (const std::vector<Field>& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  }
};
