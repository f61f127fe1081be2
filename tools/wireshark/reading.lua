
-- Reading: from a frame's bytes to its fields, and to what is wrong with it.

-- Ends the reading of a payload with a problem.
local function fail(expert, text)
  error({ expert = expert, text = text }, 0)
end

local sizes = {
  bool = 1, uint8 = 1, int16 = 2, uint16 = 2, int32 = 4, uint32 = 4, int64 = 8, uint64 = 8,
  float = 4, double = 8,
}
local COUNT_BYTES = 4 -- of a set or list
local LENGTH_BYTES = 2 -- of a text

local function remark(reader, node, expert, text)
  table.insert(reader.problems, { expert = expert, text = node.path .. ": " .. text, node = node })
end

local function failInside(node, detail)
  fail("truncated", "payload ends inside " .. node.path .. ": " .. detail)
end

local function skip(reader, node, size)
  local left = #reader.body - reader.offset
  if left < size then
    failInside(node, counted(size, "byte") .. " needed, " .. areThere(left))
  end
  reader.offset = reader.offset + size
end

local function remarkNegative(reader, node, count, meaning)
  remark(reader, node, "value",
    string.format("count %d is negative: it is read as %s", count, meaning))
end

-- Where the text at the offset ends, the text, and the length that it announces; nil where the body
-- ends before.
local function textAt(body, offset)
  local left = #body - offset - LENGTH_BYTES
  if left < 0 then
    return nil
  end
  local length = signedAt(body, offset, LENGTH_BYTES)
  if length > left then
    return nil
  end
  local from = offset + LENGTH_BYTES
  local stop = from + math.max(length, 0)
  return stop, body:sub(from + 1, stop), length
end

-- By kind of field: function(reader, node).
--   reader  body, offset (where it stands), problems
--   node    a field as it was read: field, path, offset, length; number (a boolean's byte, a count),
--           text (nil where absent), parts (nodes); isOpen while it is not read to its end
local readers = {}

local function readNode(reader, nodes, field, path)
  local node = { field = field, path = path, offset = reader.offset, isOpen = true }
  table.insert(nodes, node)
  local read = readers[field[2]]
  if read then
    read(reader, node)
  else
    skip(reader, node, sizes[field[2]])
  end
  node.length = reader.offset - node.offset
  node.isOpen = false
end

function readers.bool(reader, node)
  skip(reader, node, 1)
  node.number = reader.body:byte(reader.offset)
  if node.number > 1 then
    remark(reader, node, "value", string.format("%d is read as true", node.number))
  end
end

function readers.text(reader, node)
  local stop, text, length = textAt(reader.body, reader.offset)
  if not stop then
    skip(reader, node, LENGTH_BYTES)
    local announced = numberAt(reader.body, node.offset, LENGTH_BYTES)
    failInside(node, counted(announced, "byte") .. " announced, "
      .. areThere(#reader.body - reader.offset))
  end
  reader.offset = stop
  local valid = validLength(text)
  if length < 0 then
    remarkNegative(reader, node, length, "empty text, and the text's bytes are not read")
  elseif valid < #text then
    remark(reader, node, "utf8",
      string.format("text is not valid UTF-8 at byte %d: it is read as absent", valid))
    return
  end
  node.text = text
end

function readers.set(reader, node)
  skip(reader, node, COUNT_BYTES)
  node.number = signedAt(reader.body, node.offset, COUNT_BYTES)
  node.parts = {}
  local seen, different = {}, 0
  for _ = 1, node.number do
    local stop, text = textAt(reader.body, reader.offset)
    if not stop then
      failInside(node, counted(node.number, "text") .. " announced, not all are there")
    elseif validLength(text) < #text then
      fail("refused", "a text in " .. node.path .. " is not valid UTF-8")
    end
    table.insert(node.parts, { field = node.field, path = node.path, text = text,
      offset = reader.offset, length = stop - reader.offset })
    reader.offset = stop
    if not seen[text] then
      seen[text] = true
      different = different + 1
    end
  end
  if node.number < 0 then
    remarkNegative(reader, node, node.number, "an empty set")
  elseif different < node.number then
    remark(reader, node, "value",
      string.format("%s announced, %d of them different", counted(node.number, "text"), different))
  end
end

local function readFields(reader, nodes, fields, prefix)
  for _, field in ipairs(fields) do
    readNode(reader, nodes, field, prefix .. field[1])
  end
end

function readers.record(reader, node)
  node.parts = {}
  readFields(reader, node.parts, node.field[3], node.path .. ".")
end

function readers.list(reader, node)
  skip(reader, node, COUNT_BYTES)
  node.number = signedAt(reader.body, node.offset, COUNT_BYTES)
  node.parts = {}
  if node.number < 0 then
    remarkNegative(reader, node, node.number, "no elements")
  end
  for index = 0, node.number - 1 do
    local begin = reader.offset
    readNode(reader, node.parts, node.field[3], string.format("%s[%d]", node.path, index))
    if reader.offset == begin then
      fail("refused", node.path .. ": An element of a list has no bytes")
    end
  end
end

-- Types that read their payload in a way of their own.
local irregular = {}

-- One text, "modelName&systemVersion&bleVersion".
function irregular.HudVersionEventPacket(reader, nodes, fields)
  local stop, text = textAt(reader.body, reader.offset)
  if not stop or validLength(text) < #text or select(2, text:gsub("&", "")) ~= 2 then
    return false
  end
  local offset = reader.offset + LENGTH_BYTES
  for _, field in ipairs(fields) do
    local part = reader.body:sub(offset + 1, stop):match("^[^&]*")
    table.insert(nodes, { field = field, path = field[1], text = part, offset = offset,
      length = #part })
    offset = offset + #part + 1
  end
  reader.offset = #reader.body -- what follows is the type's own business
  return true
end

local function readPayload(reader, nodes, packetType)
  if not packetType.irregular then
    return readFields(reader, nodes, packetType.fields, "")
  end
  local read = irregular[packetType.name]
  if read and not read(reader, nodes, packetType.fields) then
    fail("refused",
      string.format("payload is refused by %s (%s)", packetType.name, packetType.irregular))
  end
end

local typeOf = {} -- by command, param1 and param2 as a string of three bytes
for _, packetType in ipairs(types) do
  typeOf[string.char(packetType[1], packetType[2], packetType[3])] = packetType
end

-- The type whose identifiers are nearest, the command first.
local function nearestType(ids)
  local nearest, least
  for _, packetType in ipairs(types) do
    local distance = 0
    for at = 1, 3 do
      distance = distance * 256 + math.abs(packetType[at] - ids:byte(at))
    end
    if not least or distance < least then
      nearest, least = packetType, distance
    end
  end
  return nearest
end

local function unknownId(ids)
  local text = string.format("unknown id %d/%d/%d", ids:byte(1, 3))
  local nearest = nearestType(ids)
  if nearest then
    text = text .. string.format(" (nearest: %s %d/%d/%d)", nearest.name, nearest[1], nearest[2],
      nearest[3])
  end
  return text
end

local headerNames = { "command", "param1", "param2" }

-- Reads bytes as a frame, also such as are none. Returns
--   body      what stands between the marks, without stuffing
--   type      nil where it is not known
--   nodes     the fields that were read; the last may be incomplete
--   offset    in the body, where the reading ended; nil where it did not begin
--   problems  what is wrong or unusual: { expert, text }, with `node`, or `wire` (an offset in the
--             frame), where it has a place of its own
local function readFrame(frame)
  local problems, nodes = {}, {}
  local result = { body = "", nodes = nodes, problems = problems }
  local isStarted = frame:sub(1, 1) == STX
  local isEnded = #frame > (isStarted and 1 or 0) and frame:sub(-1) == ETX
  local refusal
  if #frame < SHORTEST_FRAME then
    refusal = "InvalidArgumentException: RawPacket should be greater than 4."
  elseif not isStarted or not isEnded then
    refusal = "InvalidArgumentException: RawPacket should be contained STX and ETX."
  end
  if not isStarted then
    table.insert(problems, { expert = "refused", text = refusal })
    return result
  end

  local wire = frame:sub(2, isEnded and -2 or -1)
  local body = unstuff(wire)
  result.body = body
  local ids = body:sub(1, 3)
  if #ids < 3 then
    refusal = refusal or "IndexOutOfBoundsException: Attempted to access an array index that is "
      .. "out of bounds"
    table.insert(problems, { expert = "truncated", text = "frame ends before "
      .. headerNames[#ids + 1] })
  else
    result.type = typeOf[ids]
    if result.type then
      local reader = { body = body, offset = 3, problems = problems }
      local isRead, failure = pcall(readPayload, reader, nodes, result.type)
      if not isRead then
        table.insert(problems, type(failure) == "table" and failure or error(failure, 0))
      elseif not result.type.irregular and (reader.offset < #body or endsInEscape(wire)) then
        local rest = #body - reader.offset
        table.insert(problems, { expert = "unread", text = counted(rest, "byte")
          .. " behind the last field " .. (rest == 1 and "is" or "are") .. " ignored" })
      end
      result.offset = reader.offset
    else
      table.insert(problems, { expert = "unknown", text = unknownId(ids) })
    end
  end
  if refusal then
    table.insert(problems, 1, { expert = "refused", text = refusal })
  end
  checkStuffing(wire, problems)
  return result
end
