-- Cuts what TCP hands over into records, and finds the request that an answer is to.

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
