-- Shows records in the packet's details and in the info column.

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
