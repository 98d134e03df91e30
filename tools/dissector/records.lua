-- A record: its fields, the bytes that belong to none, and its line in the info column.

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
