#include "OBstubReply.h"

#include "otnbus/Bus.h"

OBstubReply::OBstubReply(std::shared_ptr<otnbus::Bus> bus, uint64_t call)
    : m_bus(std::move(bus)), m_call(call) {}

void OBstubReply::release(OBstubReply* reply) {
  if (reply == nullptr) return;
  reply->m_bus->release(reply->m_call);
  delete reply;
}
