-- Where records begin.

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
