-- Values as text, the same as `iss-sim watch` shows them.

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
