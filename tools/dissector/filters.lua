-- The protocol with its fields, by filter name, and its expert infos.
-- In front of this stand the generated tables: record_size, trailer_offset, no_error, types, trailer, entry_fields.

local ops = Proto("ops", "OPS message")
ops.prefs.port = Pref.uint("ISS's port", 8000, "TCP port on which ISS listens")

local tcp_stream = Field.new("tcp.stream")
local tcp_seq = Field.new("tcp.seq")
local has_completeness, tcp_completeness = pcall(Field.new, "tcp.completeness")

local f = {
  type = ProtoField.uint32("ops.type", "Type", base.DEC, nil, nil, "Message type"),
  name = ProtoField.string("ops.name", "Name", base.ASCII, "Name of the message type"),
  request = ProtoField.bool("ops.request", "From the daemon to ISS", base.NONE),
  response_in = ProtoField.framenum("ops.response_in", "Answered in", base.NONE, frametype.RESPONSE),
  request_in = ProtoField.framenum("ops.request_in", "Answer to", base.NONE, frametype.REQUEST),
  latency = ProtoField.relative_time("ops.latency", "Time since the request"),
  port = ProtoField.uint32("ops.port", "Front port of a port list", base.DEC),
  unnamed = ProtoField.bytes("ops.unnamed", "Bytes that belong to no field", base.NONE),
  lost = ProtoField.bytes("ops.lost", "Bytes that are no record", base.NONE),
}

-- Fields of the same name in several types share one filter name.
local makers = {
  number = function(...) return ProtoField.uint32(...) end,
  label = function(abbreviation, name) return ProtoField.uint32(abbreviation, name, base.HEX) end,
  bigEndianNumber = function(...) return ProtoField.uint32(...) end,
  portList = function(abbreviation, name) return ProtoField.uint32(abbreviation, name, base.HEX) end,
  signedNumber = function(...) return ProtoField.int32(...) end,
  redundancyState = function(...) return ProtoField.int32(...) end,
  vlanList = function(...) return ProtoField.int32(...) end,
  text = function(...) return ProtoField.string(...) end,
  mac = function(...) return ProtoField.ether(...) end,
  ipAddress = function(...) return ProtoField.ipv4(...) end,
  bytes = function(...) return ProtoField.bytes(...) end,
  values = function(...) return ProtoField.bytes(...) end,
  filterEntries = function(...) return ProtoField.bytes(...) end,
}
local by_name, entry_by_name = {}, {}

local function declare(fields, names, prefix)
  for _, field in ipairs(fields) do
    names[field.name] = names[field.name] or makers[field.kind](prefix .. field.name:lower(), field.name)
  end
end
for number = 0, #types do declare(types[number].fields, by_name, "ops.") end
declare(trailer, by_name, "ops.")
declare(entry_fields, entry_by_name, "ops.entry.")

local all = {}
for _, fields in ipairs({f, by_name, entry_by_name}) do
  for _, field in pairs(fields) do all[#all + 1] = field end
end
ops.fields = all

local e = {
  refused = ProtoExpert.new("ops.refused", "ISS refused the request", expert.group.RESPONSE_CODE, expert.severity.WARN),
  no_request = ProtoExpert.new("ops.no_request", "An answer to no request of this capture", expert.group.SEQUENCE,
                               expert.severity.NOTE),
  second = ProtoExpert.new("ops.second_request", "A request while another one waits for its answer",
                           expert.group.SEQUENCE, expert.severity.NOTE),
  unanswered = ProtoExpert.new("ops.unanswered", "No answer in this capture", expert.group.SEQUENCE,
                               expert.severity.NOTE),
  unknown = ProtoExpert.new("ops.unknown_type", "Unknown message type", expert.group.PROTOCOL, expert.severity.WARN),
  lost = ProtoExpert.new("ops.no_record", "Bytes that are no record", expert.group.PROTOCOL, expert.severity.NOTE),
}
ops.experts = {e.refused, e.no_request, e.second, e.unanswered, e.unknown, e.lost}
