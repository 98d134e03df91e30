-- The dissector: cuts each TCP direction into records, matches answers with their requests, and shows every field.
-- What stands in front of this line is generated: record_size, trailer_offset, no_error, types, trailer, entry_fields.

local ops = Proto("ops", "OPS message")
ops.prefs.port = Pref.uint("ISS's port", 8000, "TCP port on which ISS listens")

local tcp_stream = Field.new("tcp.stream")
local tcp_seq = Field.new("tcp.seq")
local has_completeness, tcp_completeness = pcall(Field.new, "tcp.completeness")

-- Filter names ---------------------------------------------------------------------------------------------------

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

-- Values as text, the same as `iss-sim watch` shows them ------------------------------------------------------------

-- A number of `size` bytes at the offset, which counts from 0.
local function little(bytes, at, size)
  local value = 0
  for i = size, 1, -1 do value = value * 256 + bytes:byte(at + i) end
  return value
end

local function big(bytes, at)
  local value = 0
  for i = 1, 4 do value = value * 256 + bytes:byte(at + i) end
  return value
end

local function signed(bytes, at)
  local value = little(bytes, at, 4)
  return value < 0x80000000 and value or value - 0x100000000
end

local function hex(bytes)
  return (bytes:gsub(".", function(c) return string.format("%02x", c:byte()) end))
end

local function without_trailing_zeros(bytes)
  local last = #bytes
  while last > 0 and bytes:byte(last) == 0 do last = last - 1 end
  return bytes:sub(1, last)
end

local function until_nul(bytes)
  local nul = bytes:find("\0", 1, true)
  return nul and bytes:sub(1, nul - 1) or bytes
end

local escapes = {["\n"] = "\\n", ["\r"] = "\\r", ["\t"] = "\\t", ['"'] = '\\"', ["\\"] = "\\\\"}

local function quoted(text)
  local out = text:gsub('[^ -~]', function(c) return escapes[c] or string.format("\\x%02x", c:byte()) end)
  if out == text then out = text:gsub('["\\]', escapes) else out = text:gsub('.', function(c)
    return escapes[c] or (c:match("[ -~]") and c) or string.format("\\x%02x", c:byte())
  end) end
  if text ~= "" and out == text and not text:find(" ", 1, true) then return text end
  return '"' .. out .. '"'
end

-- The bitmap of a port list: the bits of its four bytes, the last bit of the last byte first.
local function port_bitmap(bytes)
  local bitmap, ports = 0, {}
  for port = 0, 31 do
    local byte = bytes:byte(math.floor(port / 8) + 1)
    if math.floor(byte / 2 ^ (7 - port % 8)) % 2 == 1 then
      bitmap = bitmap + 2 ^ port
      ports[#ports + 1] = port + 1
    end
  end
  return math.floor(bitmap), ports
end

local function mac(bytes)
  return (hex(bytes):gsub("(%x%x)", "%1:"):sub(1, -2))
end

-- What one entry of a filter rule matches; "" for a type that stands for bytes only.
local function entry_meaning(entry, kind)
  local type, value, mask = little(entry, 0, 4), entry:sub(5, 12), entry:sub(13, 20)
  local function word(name, form)
    local masked = little(mask, 0, 4)
    return name .. "=" .. string.format(form, little(value, 0, 4)) ..
           (masked ~= 0xffff and string.format("/0x%x", masked) or "")
  end
  if type == 1 or type == 2 or type == 8 or type == 15 then
    local whole = mask:sub(1, 6) == ("\255"):rep(6)
    return "mac=" .. mac(value:sub(1, 6)) .. (whole and "" or "/" .. mac(mask:sub(1, 6)))
  end
  if type == 3 then return word("vlan", "%d") end
  if type == 4 or type == 9 or type == 10 then return word("etherType", "0x%04x") end
  if type == 7 then return word("vpn", "%d") end
  if type == 11 and (kind == 2 or kind == 5) then
    local labels = {}
    if little(mask, 0, 4) ~= 0 then labels[1] = "mplsLabel=" .. math.floor(little(value, 0, 4) / 4096) end
    if little(mask, 4, 4) ~= 0 then
      labels[#labels + 1] = "pwLabel=" .. math.floor(little(value, 4, 4) / 4096)
    end
    return table.concat(labels, ",")
  end
  return ""
end

local function field_of(record, name)
  for _, field in ipairs(record.fields) do
    if field.name == name and field.offset + field.size <= #record.bytes then
      return little(record.bytes, field.offset, field.size)
    end
  end
  return 0
end

-- The entries that are in use, or hold anything.
local function entries_of(record, bytes)
  local entries = {}
  for at = 0, #bytes - 20, 20 do entries[#entries + 1] = bytes:sub(at + 1, at + 20) end
  while #entries > field_of(record, "entryCount") and not entries[#entries]:find("[^\0]") do
    entries[#entries] = nil
  end
  return entries
end

local function entry_text(entry, record)
  local meaning = entry_meaning(entry, field_of(record, "entryKind"))
  return little(entry, 0, 4) .. ":" .. hex(entry:sub(5, 12)) .. "/" .. hex(entry:sub(13, 20)) ..
         (meaning ~= "" and "(" .. meaning .. ")" or "")
end

local function vlans_of(bytes)
  local vlans = {}
  for at = 0, #without_trailing_zeros(bytes) - 1, 4 do vlans[#vlans + 1] = signed(bytes, at) end
  return vlans
end

local text_of = {
  number = function(bytes) return string.format("%d", little(bytes, 0, #bytes)) end,
  signedNumber = function(bytes) return string.format("%d", signed(bytes, 0)) end,
  label = function(bytes) return string.format("0x%x", little(bytes, 0, #bytes)) end,
  text = function(bytes) return quoted(until_nul(bytes)) end,
  mac = mac,
  ipAddress = function(bytes) return string.format("%d.%d.%d.%d", bytes:reverse():byte(1, 4)) end,
  bytes = function(bytes) return "[" .. hex(without_trailing_zeros(bytes)) .. "]" end,
  values = function(bytes) return table.concat({bytes:byte(1, -1)}, ",") end,
  bigEndianNumber = function(bytes) return string.format("%d", big(bytes, 0)) end,
  portList = function(bytes) return string.format("%s(pbmp=0x%x)", hex(bytes), (port_bitmap(bytes))) end,
  filterEntries = function(bytes, _, record)
    local texts = {}
    for i, entry in ipairs(entries_of(record, bytes)) do texts[i] = entry_text(entry, record) end
    return "[" .. table.concat(texts, ",") .. "]"
  end,
  vlanList = function(bytes) return "[" .. table.concat(vlans_of(bytes), ",") .. "]" end,
  redundancyState = function(bytes, field)
    local state = signed(bytes, 0)
    return string.format("%d(%s)", state, field.values[state] or "RED?")
  end,
}

-- Records -----------------------------------------------------------------------------------------------------------

-- In an answer the trailer ends a list that would otherwise reach to the record's end.
local function size_of(field, has_trailer)
  return has_trailer and field.kind == "vlanList" and trailer_offset - field.offset or field.size
end

-- A record of which all bytes or, where the capture was cut short, the first ones are known.
local function record_of(bytes)
  local number = little(bytes, 0, 4)
  local known = types[number]
  local is_response = #bytes >= record_size and bytes:byte(6920 + 1) == 1
  local record = {bytes = bytes, number = number, known = known, has_trailer = is_response,
                  name = known and known.name or "UnknownMsgType", fields = {}}
  for _, fields in ipairs({known and known.fields or {}, is_response and trailer or {}}) do
    for _, field in ipairs(fields) do record.fields[#record.fields + 1] = field end
  end
  return record
end

-- The bytes of a field; nil where they were not captured.
local function bytes_of(record, field)
  local size = size_of(field, record.has_trailer)
  if field.offset + size > #record.bytes then return nil end
  return record.bytes:sub(field.offset + 1, field.offset + size)
end

-- Calls `found(offset, bytes)` for each run that is not zero and belongs to no field.
local function each_unnamed(record, found)
  local spans = {{0, 4}}
  for _, field in ipairs(record.fields) do
    -- What follows the NUL of a text is not part of it.
    local bytes = record.bytes:sub(field.offset + 1, field.offset + size_of(field, record.has_trailer))
    local size = field.kind == "text" and #until_nul(bytes) or #bytes
    if size > 0 then spans[#spans + 1] = {field.offset, size} end
  end
  table.sort(spans, function(a, b) return a[1] < b[1] end)
  spans[#spans + 1] = {#record.bytes, 0}
  local at = 0
  for _, span in ipairs(spans) do
    if span[1] > at then
      local first = record.bytes:find("[^\0]", at + 1)
      if first and first <= span[1] then
        found(first - 1, without_trailing_zeros(record.bytes:sub(first, span[1])))
      end
    end
    at = math.max(at, span[1] + span[2])
  end
end

local function line_of(record)
  local line = {string.format("%s [%d]", record.name, record.number)}
  for _, field in ipairs(record.fields) do
    local bytes = bytes_of(record, field)
    if bytes then line[#line + 1] = field.name .. "=" .. text_of[field.kind](bytes, field, record) end
  end
  each_unnamed(record, function(at, bytes) line[#line + 1] = "@" .. at .. "=" .. hex(bytes) end)
  if #record.bytes < record_size then line[#line + 1] = "(" .. #record.bytes .. " bytes captured)" end
  return table.concat(line, " ")
end

-- Where records begin ------------------------------------------------------------------------------------------------

-- Whether a header with this type can stand in this direction.
local function fits_direction(known, to_iss)
  if to_iss then return known.direction ~= "fromIss" end
  return known.direction == "fromIss" or known.answer
end

-- Whether the record is an answer by its trailer: a text of ISS's with its NUL, and the response byte.
local function is_answer_by_trailer(record)
  if not record.has_trailer or record.bytes:find("[^\0]", 6922) then return false end
  local text = until_nul(record.bytes:sub(trailer_offset + 1, trailer_offset + 500))
  return text ~= "" and #text < 500 and not text:find("[^\r\n\t -~]")
end

-- Whether a record begins at the offset, as far as its bytes tell: "whole", "part" when they end before it does, or
-- nil. Bytes without a name are zero in a record, and texts can be printed; few other places look like that.
local function looks_like(bytes, at, to_iss)
  local left = #bytes - at
  local number = little(bytes, at, math.min(4, left))
  local known = types[number]
  if number == 0 or not known or not fits_direction(known, to_iss) then return nil end
  if left < 4 then return "part" end
  local record = record_of(bytes:sub(at + 1, at + record_size))
  if left >= record_size then
    if left >= record_size + 4 and not types[little(bytes, at + record_size, 4)] then return nil end
    if not to_iss and known.answer then return is_answer_by_trailer(record) and "whole" or nil end
  elseif not to_iss and known.answer then
    for _, field in ipairs(trailer) do record.fields[#record.fields + 1] = field end
    record.has_trailer = true
  end
  local odd = false
  for _, field in ipairs(record.fields) do
    local value = record.bytes:sub(field.offset + 1, field.offset + field.size)
    if field.kind == "text" and until_nul(value):find("[^\r\n\t -~]") then odd = true end
  end
  each_unnamed(record, function() odd = true end)
  if odd then return nil end
  return left >= record_size and "whole" or "part"
end

-- The first place from `at` on where a record seems to begin.
local function find_record(bytes, at, to_iss, whole_only)
  for place = at, #bytes - 1 do
    -- The lowest byte of the type comes first, the others are zero.
    if bytes:byte(place + 1) ~= 0 and (bytes:byte(place + 2) or 0) == 0 then
      local found = looks_like(bytes, place, to_iss)
      if found == "whole" or (found and not whole_only) then return place, found end
    end
  end
end

-- A record of type 0 is all zero but for its trailer.
local function is_odd(bytes, at)
  local number = little(bytes, at, 4)
  if number ~= 0 then return types[number] == nil end
  local first = bytes:find("[^\0]", at + 1)
  return first ~= nil and first <= at + trailer_offset
end

-- Requests and answers -----------------------------------------------------------------------------------------------

local connections, plans

local function forget()
  connections, plans = {}, {}
end
forget()
ops.init = forget

local function connection_of(stream)
  connections[stream] = connections[stream] or {in_step = {}, outstanding = {}}
  return connections[stream]
end

-- Takes the request that an answer is to: the oldest of its type, or else the oldest of all.
local function take_request(outstanding, number)
  for i, request in ipairs(outstanding) do
    if request.number == number then return table.remove(outstanding, i) end
  end
  return table.remove(outstanding, 1)
end

-- What the record is to others of its connection: kept, because each packet is shown more than once.
local function links_of(connection, bytes, to_iss, pinfo)
  local record = record_of(bytes)
  local links = {number = record.number, frame = pinfo.number, time = pinfo.rel_ts}
  if to_iss then
    links.second = #connection.outstanding > 0
    table.insert(connection.outstanding, links)
  elseif record.has_trailer or (record.known and record.known.answer) then
    links.is_answer = true
    links.request = take_request(connection.outstanding, record.number)
    if links.request then links.request.answer = links end
  end
  return links
end

-- Cuts the bytes into parts: records, and what is none. `more`, from `from` on, is what has to come first.
local function make_plan(bytes, reported, to_iss, pinfo)
  local connection = connection_of(tcp_stream().value)
  local plan = {}
  local complete = #bytes == reported
  local function add(at, size, is_record)
    local links = is_record and not pinfo.visited and links_of(connection, bytes:sub(at + 1, at + size), to_iss, pinfo)
    plan[#plan + 1] = {at = at, size = size, is_record = is_record, links = links or {}}
  end
  local function wait_for(at, count)
    if complete and pinfo.can_desegment > 0 then
      plan.from, plan.more = at, count
    else
      add(at, #bytes - at, false)
      connection.in_step[to_iss] = false
    end
  end

  if tcp_seq().value == 1 and has_completeness and tcp_completeness() and tcp_completeness().value % 2 == 1 then
    connection.in_step[to_iss] = true
  end
  local at = 0
  while at < #bytes do
    local left = #bytes - at
    if not complete and reported - at >= record_size and left < record_size then
      -- The capture has only the first bytes of each packet.
      add(at, left, left >= 4)
      return plan
    end
    if not connection.in_step[to_iss] then
      local place, found = find_record(bytes, at, to_iss, false)
      if not found then
        add(at, left, false)
        return plan
      end
      if place > at then add(at, place - at, false) end
      at = place
      if found == "part" then
        wait_for(at, DESEGMENT_ONE_MORE_SEGMENT)
        return plan
      end
      connection.in_step[to_iss] = true
    elseif left < 4 or (left < record_size and not is_odd(bytes, at)) then
      wait_for(at, record_size - left)
      return plan
    elseif left < record_size then
      add(at, left, false)
      connection.in_step[to_iss] = false
      return plan
    elseif is_odd(bytes, at) then
      local place = find_record(bytes, at + 1, to_iss, true)
      if place and place < at + record_size then
        add(at, place - at, false)
        at = place
      end
    end
    add(at, record_size, true)
    at = at + record_size
  end
  return plan
end

-- Display ------------------------------------------------------------------------------------------------------------

local function value_name(field, bytes)
  if field.kind == "redundancyState" or not (next(field.values) or field.other) then return "" end
  local name = field.values[little(bytes, 0, #bytes)] or field.other
  return name and " (" .. name .. ")" or ""
end

local function show_entries(item, record, range)
  for i, entry in ipairs(entries_of(record, range:bytes():raw())) do
    local at = (i - 1) * 20
    local branch = item:add(range(at, 20), "entry " .. i .. ": " .. entry_text(entry, record))
    for _, field in ipairs(entry_fields) do
      local part = range(at + field.offset, field.size)
      local bytes = entry:sub(field.offset + 1, field.offset + field.size)
      local leaf = field.kind == "number" and branch:add(entry_by_name[field.name], part, little(bytes, 0, #bytes))
                   or branch:add(entry_by_name[field.name], part)
      leaf:append_text(" [" .. field.meaning .. "]")
    end
  end
end

-- Adds the field with a value of the type that its filter name has.
local adders = {
  number = function(tree, id, range, bytes) return tree:add(id, range, little(bytes, 0, #bytes)) end,
  bigEndianNumber = function(tree, id, range, bytes) return tree:add(id, range, big(bytes, 0)) end,
  signedNumber = function(tree, id, range, bytes) return tree:add(id, range, signed(bytes, 0)) end,
  text = function(tree, id, range, bytes) return tree:add(id, range, until_nul(bytes)) end,
  ipAddress = function(tree, id, range, bytes)
    return tree:add(id, range, Address.ip(text_of.ipAddress(bytes)))
  end,
  portList = function(tree, id, range, bytes)
    local bitmap, ports = port_bitmap(bytes)
    local item = tree:add(id, range, bitmap)
    for _, port in ipairs(ports) do item:add(f.port, range, port) end
    return item
  end,
  vlanList = function(tree, id, range, bytes)
    local item = tree:add(range, "")
    for i, vlan in ipairs(vlans_of(bytes)) do item:add(id, range((i - 1) * 4, 4), vlan) end
    return item
  end,
  filterEntries = function(tree, id, range, _, record)
    local item = tree:add(id, range)
    show_entries(item, record, range)
    return item
  end,
}
adders.label = adders.number
adders.redundancyState = adders.signedNumber

local function show_fields(tree, range, record)
  for _, field in ipairs(record.fields) do
    local bytes = bytes_of(record, field)
    if bytes then
      local part = range(field.offset, #bytes)
      local add = adders[field.kind] or function(branch, id) return branch:add(id, part) end
      local item = add(tree, by_name[field.name], part, bytes, record)
      local unit = field.unit ~= "" and " " .. field.unit or ""
      item:set_text(string.format("%s: %s%s%s [at %d, %d byte%s, %s: %s]", field.name,
                                  text_of[field.kind](bytes, field, record), unit, value_name(field, bytes),
                                  field.offset, #bytes, #bytes == 1 and "" or "s", field.kind, field.meaning))
    end
  end
  each_unnamed(record, function(at, bytes)
    tree:add(f.unnamed, range(at, #bytes)):append_text(" [at " .. at .. "]")
  end)
end

local function nstime(seconds)
  local whole = math.floor(seconds)
  return NSTime.new(whole, math.floor((seconds - whole) * 1e9 + 0.5))
end

-- Shows how the record goes with others; returns what the line says of it.
local function show_links(tree, record, links, to_iss, pinfo)
  if to_iss then
    if links.second then tree:add_proto_expert_info(e.second) end
    if links.answer then
      tree:add(f.response_in, links.answer.frame):set_generated()
    elseif pinfo.visited then
      tree:add_proto_expert_info(e.unanswered)
    end
    return ""
  end
  if not links.is_answer then return "" end
  local text = until_nul(record.bytes:sub(trailer_offset + 1, trailer_offset + 500))
  if #record.bytes == record_size and text ~= no_error then
    tree:add_proto_expert_info(e.refused, "ISS refused the request: " .. quoted(text))
  end
  if not links.request then
    tree:add_proto_expert_info(e.no_request)
    return ""
  end
  local latency = links.time - links.request.time
  tree:add(f.request_in, links.request.frame):set_generated()
  tree:add(f.latency, nstime(latency)):set_generated()
  return string.format(" (after %.3f ms)", latency * 1000)
end

local function show_record(tvb, tree, part, to_iss, pinfo)
  local range = tvb(part.at, part.size)
  local record = record_of(range:bytes():raw())
  local branch = tree:add(ops, range, string.format("OPS message %s [%d], %s", record.name, record.number,
                                                    to_iss and "daemon to ISS" or "ISS to daemon"))
  local item = branch:add(f.type, range(0, 4), record.number)
  item:append_text(" (" .. record.name .. ")")
  branch:add(f.name, range(0, 4), record.name):set_generated()
  branch:add(f.request, to_iss):set_generated()
  if record.known then
    if record.known.meaning ~= "" then item:append_text(" [" .. record.known.meaning .. "]") end
  else
    item:add_proto_expert_info(e.unknown)
  end
  show_fields(branch, range, record)
  local after = show_links(branch, record, part.links, to_iss, pinfo)
  return (to_iss and "<- " or "-> ") .. line_of(record) .. after
end

local function show_lost(tvb, tree, part, to_iss)
  local range = tvb(part.at, part.size)
  local branch = tree:add(ops, range, string.format("OPS: %d bytes that are no record", part.size))
  branch:add(f.lost, range)
  branch:add_proto_expert_info(e.lost)
  return (to_iss and "<- " or "-> ") .. part.size .. " bytes that are no record"
end

function ops.dissector(tvb, pinfo, tree)
  local to_iss = pinfo.dst_port == ops.prefs.port
  -- A packet may bring several calls, each with bytes of its own, and is shown more than once.
  local key = pinfo.number .. ":" .. tvb:offset() .. ":" .. tvb:len()
  local plan = plans[key] or make_plan(tvb:raw(), tvb:reported_len(), to_iss, pinfo)
  plans[key] = plan
  local lines = {}
  for i, part in ipairs(plan) do
    lines[i] = part.is_record and show_record(tvb, tree, part, to_iss, pinfo) or show_lost(tvb, tree, part, to_iss)
  end
  if #lines > 0 then
    local is_first = tostring(pinfo.cols.protocol) ~= "OPS"
    pinfo.cols.protocol = "OPS"
    if is_first then pinfo.cols.info:set(table.concat(lines, "; "))
    else pinfo.cols.info:append("; " .. table.concat(lines, "; ")) end
    pinfo.cols.info:fence()
  end
  if plan.more then pinfo.desegment_offset, pinfo.desegment_len = plan.from, plan.more end
end

local tcp_port = DissectorTable.get("tcp.port")
local port = ops.prefs.port
tcp_port:add(port, ops)

function ops.prefs_changed()
  if port == ops.prefs.port then return end
  tcp_port:remove(port, ops)
  port = ops.prefs.port
  tcp_port:add(port, ops)
end
