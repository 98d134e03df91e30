#include "OBstubReply.h"

#include "otnbus/Outbox.h"

OBstubReply::OBstubReply(std::shared_ptr<otnbus::Outbox> outbox, uint64_t call)
    : m_outbox(std::move(outbox)), m_call(call) {}

void OBstubReply::release(OBstubReply* reply) {
  if (reply == nullptr) return;
  reply->m_outbox->postRelease(reply->m_call);
  delete reply;
}
