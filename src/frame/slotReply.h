// The bus reply of a request, from one of its slots: chooses the service, which knows what it hands back.
// Main thread.
#pragma once

#include <cstdint>
#include <utility>

#include "link/MsgArray.h"

// What follows an answer. The reply is given with the request's last message (`last`) and consumes the slot's
// handle. A slot without a service or stub can give none: an ERROR line, and with the last message the handle
// is released, so that the bus forgets the call.
void replyPortParams(MsgArrayEntry& slot, bool last) REQUIRES(mutex);
void replySyncE(MsgArrayEntry& slot, bool last) REQUIRES(mutex);
/// `ids`: the forwarding-entry ids of the answer.
void replyIssMgr(MsgArrayEntry& slot, bool last, const std::pair<int32_t, int32_t>& ids) REQUIRES(mutex);
/// `ports`: the port bitmap of the answer.
void replySmartSfp(MsgArrayEntry& slot, bool last, uint32_t ports) REQUIRES(mutex);

/// The reply of a request that ISS does not answer: the saved arguments, and where an answer would bring
/// something what a refused request gets. Debug and redundancy requests have no bus reply.
void replyWithoutAnswer(MsgArrayEntry& slot) REQUIRES(mutex);
