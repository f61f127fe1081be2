-- Shows Varno packets in Wireshark and tshark.
-- Generated from the packet types by `varno wireshark`: do not edit.

-- A type: command, param1, param2, its name, its name in filters, its fields; `irregular` where it
-- reads its payload in a way of its own. A field: name, kind, the fields of a record or the element
-- of a list; `secret` for a password or key.
local types = {
  { 1, 1, 0, name = "InCommingCallNotificationPacket", filter = "InCommingCallNotification",
    fields = {
    { "packageName", "text" },
    { "title", "text" },
    { "message", "text" },
    } },
  { 1, 4, 0, name = "SocialNotificationPacket", filter = "SocialNotification",
    fields = {
    { "packageName", "text" },
    { "title", "text" },
    { "message", "text" },
    } },
  { 1, 12, 0, name = "MusicNotificationPacket", filter = "MusicNotification",
    fields = {
    { "packageName", "text" },
    { "title", "text" },
    { "message", "text" },
    } },
  { 1, 13, 0, name = "Obd2NotificationPacket", filter = "Obd2Notification",
    fields = {
    { "packageName", "text" },
    { "title", "text" },
    { "message", "text" },
    } },
  { 1, 14, 0, name = "SpeedNotificationPacket", filter = "SpeedNotification",
    fields = {
    { "packageName", "text" },
    { "title", "text" },
    { "message", "text" },
    } },
  { 2, 1, 0, name = "SystemTimeCommandPacket", filter = "SystemTimeCommand",
    fields = {
    { "timeInMillis", "int64" },
    { "timeZoneId", "text" },
    } },
  { 2, 2, 4, name = "MinBrightnessCommandPacket", filter = "MinBrightnessCommand",
    fields = {
    { "brightness", "int32" },
    { "showSetting", "bool" },
    } },
  { 2, 2, 6, name = "VarnoCastMinBrightnessCommandPacket", filter = "VarnoCastMinBrightnessCommand",
    fields = {
    { "brightness", "int32" },
    { "showSetting", "bool" },
    } },
  { 2, 3, 0, name = "KeyStoneCommandPacket", filter = "KeyStoneCommand",
    fields = {
    { "keyStone", "float" },
    } },
  { 2, 5, 1, name = "BluetoothEnableCommandPacket", filter = "BluetoothEnableCommand",
    fields = {} },
  { 2, 5, 2, name = "BluetoothDisableCommandPacket", filter = "BluetoothDisableCommand",
    fields = {} },
  { 2, 5, 3, name = "BluetoothScanCommandPacket", filter = "BluetoothScanCommand",
    fields = {
    { "enable", "bool" },
    } },
  { 2, 5, 4, name = "BluetoothConnectionCommandPacket", filter = "BluetoothConnectionCommand",
    fields = {
    { "address", "text" },
    { "isConnectionRequired", "bool" },
    } },
  { 2, 5, 6, name = "BluetoothPairingCommandPacket", filter = "BluetoothPairingCommand",
    fields = {
    { "pairingType", "int32" },
    { "soundDeviceAddress", "text" },
    { "pairingKey", "text", secret = true },
    } },
  { 2, 6, 0, name = "UartConnectionCheckCommandPacket", filter = "UartConnectionCheckCommand",
    fields = {} },
  { 2, 7, 0, name = "VarnoModeCommandPacket", filter = "VarnoModeCommand",
    fields = {
    { "mode", "int32" },
    } },
  { 2, 8, 1, name = "FullScreenCommandPacket", filter = "FullScreenCommand",
    fields = {
    { "isFullScreen", "bool" },
    } },
  { 2, 9, 1, name = "NotiTimeoutCommandPacket", filter = "NotiTimeoutCommand",
    fields = {
    { "timeout", "int32" },
    } },
  { 2, 9, 2, name = "DisplayBrightnessCommandPacket", filter = "DisplayBrightnessCommand",
    fields = {
    { "isBacklightEnabled", "bool" },
    } },
  { 2, 9, 3, name = "DisplaySpeedCommandPacket", filter = "DisplaySpeedCommand",
    fields = {
    { "isSpeedInformationVisible", "bool" },
    } },
  { 2, 9, 4, name = "DisplayTimeCommandPacket", filter = "DisplayTimeCommand",
    fields = {
    { "isEnable", "bool" },
    } },
  { 2, 9, 5, name = "DisplaySpeedUnitsCommandPacket", filter = "DisplaySpeedUnitsCommand",
    fields = {
    { "speedUnitType", "int32" },
    } },
  { 2, 9, 6, name = "DisplayNotificationInitSettingCommandPacket", filter = "DisplayNotificationInitSettingCommand",
    fields = {} },
  { 2, 9, 7, name = "DisplayNotificationCommandPacket", filter = "DisplayNotificationCommand",
    fields = {
    { "enable", "bool" },
    } },
  { 2, 9, 8, name = "DisplayNotificationSettingCommandPacket", filter = "DisplayNotificationSettingCommand",
    fields = {
    { "enable", "bool" },
    { "textColor", "int32" },
    { "icon", "int32" },
    { "packageNameSet", "set" },
    } },
  { 2, 9, 9, name = "DisplaySpeedWarningCommandPacket", filter = "DisplaySpeedWarningCommand",
    fields = {
    { "speed", "int32" },
    } },
  { 2, 9, 10, name = "DisplaySpeedColorCommandPacket", filter = "DisplaySpeedColorCommand",
    fields = {
    { "textColor", "int32" },
    } },
  { 2, 9, 11, name = "DisplayThemeCommandPacket", filter = "DisplayThemeCommand",
    fields = {
    { "theme", "int32" },
    } },
  { 2, 9, 12, name = "DisplaySpeedGaugeCommandPacket", filter = "DisplaySpeedGaugeCommand",
    fields = {
    { "isSpeedGaugeVisible", "bool" },
    } },
  { 2, 10, 1, name = "SoftwareUpdateCommandPacket", filter = "SoftwareUpdateCommand",
    fields = {
    { "size", "int64" },
    } },
  { 2, 10, 2, name = "SoftwareUpdateCancelCommandPacket", filter = "SoftwareUpdateCancelCommand",
    fields = {} },
  { 2, 11, 1, name = "GpsStatusCommandPacket", filter = "GpsStatusCommand",
    fields = {
    { "isUnreliable", "bool" },
    } },
  { 2, 12, 0, name = "HudDisconnectCommandPacket", filter = "HudDisconnectCommand",
    fields = {} },
  { 2, 13, 0, name = "HudResetCommandPacket", filter = "HudResetCommand",
    fields = {
    { "resetType", "int32" },
    } },
  { 2, 14, 0, name = "LayoutSizeCommandPacket", filter = "LayoutSizeCommand",
    fields = {
    { "layoutSize", "float" },
    } },
  { 2, 15, 0, name = "KeepAliveCommandPacket", filter = "KeepAliveCommand",
    fields = {} },
  { 2, 16, 0, name = "WifiStationModeCommandPacket", filter = "WifiStationModeCommand",
    fields = {
    { "ssid", "text" },
    { "password", "text", secret = true },
    { "securityType", "int32" },
    } },
  { 2, 19, 1, name = "OBDIIConnectionCommandPacket", filter = "OBDIIConnectionCommand",
    fields = {
    { "shouldConnectToOBDII", "bool" },
    } },
  { 2, 21, 0, name = "HudHotspotBasebandCommandPacket", filter = "HudHotspotBasebandCommand",
    fields = {
    { "is5G", "bool" },
    { "forceEnable", "bool" },
    } },
  { 3, 1, 1, name = "UartConnectionEventPacket", filter = "UartConnectionEvent",
    fields = {} },
  { 3, 2, 1, name = "BluetoothStatusEventPacket", filter = "BluetoothStatusEvent",
    fields = {
    { "statusType", "uint8" },
    } },
  { 3, 2, 2, name = "BluetoothConnectionEventPacket", filter = "BluetoothConnectionEvent",
    fields = {
    { "soundDevice", "record", {
      { "name", "text" },
      { "address", "text" },
      { "isConnected", "bool" },
    } },
    { "event", "uint8" },
    } },
  { 3, 2, 3, name = "BluetoothDeviceFoundEventPacket", filter = "BluetoothDeviceFoundEvent",
    fields = {
    { "soundDevice", "record", {
      { "name", "text" },
      { "address", "text" },
      { "isConnected", "bool" },
    } },
    } },
  { 3, 2, 5, name = "BluetoothPairingEventPacket", filter = "BluetoothPairingEvent",
    fields = {
    { "soundDeviceAddress", "text" },
    { "pairingType", "int32" },
    } },
  { 3, 3, 1, name = "VarnoAppStartEventPacket", filter = "VarnoAppStartEvent",
    fields = {
    { "isVarnoAppStart", "bool" },
    } },
  { 3, 3, 2, name = "VarnoAppConnectionEventPacket", filter = "VarnoAppConnectionEvent",
    fields = {
    { "isVarnoAppConnected", "bool" },
    } },
  { 3, 4, 1, name = "SoftwareUpdateEventPacket", filter = "SoftwareUpdateEvent",
    fields = {} },
  { 3, 5, 0, name = "HudVersionEventPacket", filter = "HudVersionEvent",
    irregular = "One string \"modelName&systemVersion&bleVersion\" when read; written without the second \"&\", so that a packet does not read back what it wrote",
    fields = {
    { "modelName", "text" },
    { "systemVersion", "text" },
    { "bleVersion", "text" },
    } },
  { 3, 6, 0, name = "WifiStationStatusEventPacket", filter = "WifiStationStatusEvent",
    fields = {
    { "eventType", "int32" },
    { "errorMessage", "text" },
    { "ipAddress", "text" },
    } },
}

-- The wire: stuffing, numbers and texts. This part and the next work on Lua strings alone, and know
-- nothing of Wireshark. Offsets count from 0.

local STX, ETX = "\2", "\3"
local SHORTEST_FRAME = 5

-- What a byte behind the escape mark stands for: the byte XOR 7D. Lua 5.2 has no operator for that
-- and 5.4 no bit32. A mark at the end stands for nothing.
local unstuffedOf = { [""] = "" }
for byte = 0, 255 do
  local kept = (byte % 4 >= 2 and 2 or 0) + (byte >= 128 and 128 or 0) -- the bits that 7D has not
  unstuffedOf[string.char(byte)] = string.char(0x7D - (byte - kept) + kept)
end

local function unstuff(wire)
  return (wire:gsub("}(.?)", unstuffedOf))
end

-- What in the body is not stuffed as it should be, each once.
local function checkStuffing(wire, problems)
  local seen = {}
  local function add(expert, at, text)
    if not seen[text] then
      seen[text] = true
      table.insert(problems, { expert = expert, text = text, wire = at }) -- STX makes up for 1
    end
  end
  local at = wire:find("[\2\3}]")
  while at do
    local byte = wire:byte(at)
    if byte ~= 0x7D then
      add("mark", at, string.format("%02X stands here unstuffed", byte))
    elseif at == #wire then
      add("escape", at, "7D at the end, its second byte is missing")
    else
      at = at + 1
      local plain = unstuffedOf[wire:sub(at, at)]
      if not plain:find("[\2\3}]") then
        add("stuffing", at - 1, string.format("7D %02X stands for %02X, which needs no stuffing",
          wire:byte(at), plain:byte()))
      end
    end
    at = wire:find("[\2\3}]", at + 1)
  end
end

local function endsInEscape(wire)
  return wire:gsub("}.", ""):sub(-1) == "}"
end

local function counted(count, noun)
  return string.format("%d %s%s", count, noun, count == 1 and "" or "s")
end

local function areThere(count)
  return string.format("%d %s there", count, count == 1 and "is" or "are")
end

-- The number of `size` bytes, most significant first.
local function numberAt(text, offset, size)
  local number = 0
  for at = offset + 1, offset + size do
    number = number * 256 + text:byte(at)
  end
  return number
end

local function signedAt(text, offset, size)
  local number = numberAt(text, offset, size)
  if text:byte(offset + 1) < 128 then
    return number
  end
  return number - (size == 2 and 0x10000 or 0x100000000)
end

local utf8Characters = {
  "^[\194-\223][\128-\191]",
  "^\224[\160-\191][\128-\191]",
  "^[\225-\236\238\239][\128-\191][\128-\191]",
  "^\237[\128-\159][\128-\191]",
  "^\240[\144-\191][\128-\191][\128-\191]",
  "^[\241-\243][\128-\191][\128-\191][\128-\191]",
  "^\244[\128-\143][\128-\191][\128-\191]",
}

-- How many of the text's bytes are valid UTF-8, from the first on.
local function validLength(text)
  local at = text:find("[\128-\255]")
  while at do
    local last
    for _, character in ipairs(utf8Characters) do
      last = last or select(2, text:find(character, at))
    end
    if not last then
      return at - 1
    end
    at = text:find("[\128-\255]", last + 1)
  end
  return #text
end

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

-- Showing: hands what was read to Wireshark.

local varno = Proto("varno", "Varno packets between a phone and a head-up display")
varno.prefs.show_secrets = Pref.bool("Show secrets", false,
  "Show passwords and keys. The bytes of a packet show them in any case.")

local families = { [1] = "notification", [2] = "command", [3] = "event" }
local header = {
  ProtoField.uint8("varno.command", "command", base.DEC, families),
  ProtoField.uint8("varno.param1", "param1"),
  ProtoField.uint8("varno.param2", "param2"),
}
local general = {
  type = ProtoField.string("varno.type", "Type"),
  direction = ProtoField.string("varno.direction", "Direction", base.NONE,
    "> from the phone to the display, < from the display to the phone"),
  count = ProtoField.int32("varno.count", "Count", base.DEC, nil, nil, "Of a set or list"),
  secret = ProtoField.string("varno.secret", "Secret", base.NONE,
    "In place of a password or key, and of what may be a part of one"),
  payload = ProtoField.bytes("varno.payload", "Payload", base.NONE,
    "Of a packet whose type is not known, and bytes that are no frame"),
  unread = ProtoField.bytes("varno.unread", "Unread", base.NONE,
    "What stands behind the last field"),
}

local constructors = {
  bool = ProtoField.bool,
  uint8 = ProtoField.uint8, uint16 = ProtoField.uint16, uint32 = ProtoField.uint32,
  uint64 = ProtoField.uint64, int16 = ProtoField.int16, int32 = ProtoField.int32,
  int64 = ProtoField.int64, float = ProtoField.float, double = ProtoField.double,
  text = ProtoField.string, set = ProtoField.string,
}

-- The ProtoField of each field that has a value.
local protoFieldOf = {}

local function register(list, field, name, filter)
  local kind = field[2]
  if kind == "record" then
    for _, part in ipairs(field[3]) do
      register(list, part, part[1], filter .. "." .. part[1])
    end
  elseif kind == "list" then
    register(list, field[3], name, filter)
  else
    -- A filter name has no other characters; an application's fields may.
    filter = filter:gsub("[^%w_.-]", "_")
    protoFieldOf[field] = constructors[kind](filter, name)
    table.insert(list, protoFieldOf[field])
  end
end

local protoFields = {}
for _, protoField in ipairs(header) do
  table.insert(protoFields, protoField)
end
for _, protoField in pairs(general) do
  table.insert(protoFields, protoField)
end
for _, packetType in ipairs(types) do
  for _, field in ipairs(packetType.fields) do
    register(protoFields, field, field[1], "varno." .. packetType.filter .. "." .. field[1])
  end
end
varno.fields = protoFields

local function newExpert(name, text, group, severity)
  return ProtoExpert.new("varno.expert." .. name, text, expert.group[group],
    expert.severity[severity])
end
local experts = {
  truncated = newExpert("truncated", "Payload ends inside a field", "MALFORMED", "ERROR"),
  refused = newExpert("refused", "Frame or payload is refused", "MALFORMED", "ERROR"),
  unknown = newExpert("unknown", "Unknown identifiers", "UNDECODED", "WARN"),
  escape = newExpert("escape", "7D at the end, its second byte is missing", "MALFORMED", "ERROR"),
  mark = newExpert("mark", "A frame mark stands unstuffed in the frame", "PROTOCOL", "WARN"),
  stuffing = newExpert("stuffing", "Stuffing that is not needed", "PROTOCOL", "NOTE"),
  unread = newExpert("unread", "Bytes behind the last field", "PROTOCOL", "NOTE"),
  utf8 = newExpert("utf8", "Text is not valid UTF-8", "PROTOCOL", "WARN"),
  value = newExpert("value", "Unusual value", "PROTOCOL", "NOTE"),
  noise = newExpert("noise", "Noise: bytes outside any frame", "MALFORMED", "WARN"),
  torn = newExpert("torn", "Torn: a frame that was cut off", "MALFORMED", "ERROR"),
  short = newExpert("short", "Short: less than the shortest frame", "MALFORMED", "ERROR"),
  long = newExpert("long", "Long: a frame longer than its receiver keeps", "MALFORMED", "ERROR"),
  fault = newExpert("fault", "Fault: put in on purpose", "PROTOCOL", "NOTE"),
}
local expertList = {}
for _, one in pairs(experts) do
  table.insert(expertList, one)
end
varno.experts = expertList

local HIDDEN = "***"
local MOST_TEXT = 40 -- bytes of a text in the info column
local MOST_INFO = 200

local function hexEscaped(bytes)
  return (bytes:gsub(".", function(byte)
    return string.format("\\x%02X", byte:byte())
  end))
end

-- Without what a line of text does not show, or what changes its direction.
local function quoted(text)
  if #text > MOST_TEXT then
    text = text:sub(1, validLength(text:sub(1, MOST_TEXT))) .. ".."
  end
  text = text:gsub('["\\]', "\\%0"):gsub("%c", hexEscaped):gsub("\194[\128-\159]", hexEscaped)
  text = text:gsub("\226\128[\168-\174]", hexEscaped):gsub("\226\129[\166-\169]", hexEscaped)
  return '"' .. text .. '"'
end

local valueTexts = {
  bool = function(_, node) return tostring(node.number ~= 0) end,
  float = function(range) return string.format("%.7g", range:float()) end,
  double = function(range) return string.format("%.15g", range:float()) end,
  int64 = function(range) return tostring(range:int64()) end,
  uint64 = function(range) return tostring(range:uint64()) end,
  int16 = function(range) return tostring(range:int()) end,
  int32 = function(range) return tostring(range:int()) end,
}

local function valueText(range, node)
  local kind = node.field[2]
  if node.text then
    return quoted(node.text)
  elseif kind == "text" then
    return "null"
  end
  local textOf = valueTexts[kind]
  return textOf and textOf(range, node) or tostring(range:uint())
end

-- View: { bytes, info, hidesRest, isHidden }: the Tvb of the body; parts of the info column; whether
-- everything behind the first secret is hidden, as of a packet that is not sound, where it may be a
-- part of the secret; whether that is so by now.
local showNode

local function showHidden(view, tree, node, label, range)
  local item = tree:add(general.secret, range, HIDDEN)
  item:set_text(label .. ": " .. HIDDEN)
  table.insert(view.info, node.path .. "=" .. HIDDEN)
  return item
end

local function showParts(view, tree, node, label)
  local length = node.length or view.bytes:len() - node.offset
  local subtree
  if node.number then
    subtree = tree:add(general.count, view.bytes(node.offset, COUNT_BYTES))
    label = string.format("%s: %s", label, counted(math.max(node.number, 0),
      node.field[2] == "set" and "text" or "element"))
    subtree:set_len(length)
  elseif length > 0 then
    subtree = tree:add(view.bytes(node.offset, length), label)
  else
    return tree -- a record without fields
  end
  subtree:set_text(label)
  for _, part in ipairs(node.parts) do
    showNode(view, subtree, part)
  end
  return subtree
end

local function showLeaf(view, tree, node, label)
  local field = node.field
  local range = view.bytes(node.offset, node.length)
  local item
  if field[2] ~= "text" and field[2] ~= "set" then
    item = tree:add(protoFieldOf[field], range)
  elseif not node.text then
    item = tree:add(range, label .. ": absent")
  else
    -- Wireshark's texts end at their first zero, so its picture stands for it.
    item = tree:add(protoFieldOf[field], range, (node.text:gsub("\0", "\226\144\128")))
  end
  table.insert(view.info, node.path .. "=" .. valueText(range, node))
  return item
end

function showNode(view, tree, node)
  local label = node.path:match("[^.]*$")
  local isHidden = node.field[2] ~= "record"
    and (view.isHidden or node.field.secret and not varno.prefs.show_secrets)
  view.isHidden = view.isHidden or isHidden and view.hidesRest
  if node.isOpen and (isHidden or not node.parts) then
    if node.offset < view.bytes:len() then
      node.item = tree:add(view.bytes(node.offset), label .. ": incomplete")
    end
  elseif isHidden then
    node.item = showHidden(view, tree, node, label, view.bytes(node.offset, node.length))
  elseif node.parts then
    node.item = showParts(view, tree, node, label)
  else
    node.item = showLeaf(view, tree, node, label)
  end
end

-- Bytes that no field has. Where a secret may be among them, they are not shown as a value.
local function showRest(view, tree, protoField, offset)
  if offset >= view.bytes:len() then
    return
  end
  local range = view.bytes(offset)
  if view.isHidden then
    tree:add(general.secret, range, HIDDEN)
  else
    tree:add(protoField, range)
  end
end

local function showProblem(tree, tvb, problem)
  local item = problem.node and problem.node.item
  if problem.wire then
    item = tree:add(tvb(problem.wire, 1), problem.text)
  end
  item = item or tree
  item:add_proto_expert_info(experts[problem.expert], problem.text)
end

local function showFields(view, root, frame)
  if frame.type then
    root:add(general.type, view.bytes(0, 3), frame.type.name):set_generated()
    root:append_text(", " .. frame.type.name)
  end
  for _, node in ipairs(frame.nodes) do
    showNode(view, root, node)
  end
  local last = frame.nodes[#frame.nodes]
  if not frame.offset or frame.type.irregular and not last then
    showRest(view, root, general.payload, 3)
  elseif not last or not last.isOpen then
    showRest(view, root, general.unread, frame.offset)
  end
end

local function infoText(view, frame)
  local text = frame.type and frame.type.name or "unknown"
  for _, part in ipairs(view.info) do
    if #text + #part > MOST_INFO then
      text = text .. " .."
      break
    end
    text = text .. " " .. part
  end
  local problem = frame.problems[1]
  return problem and text .. " [" .. problem.text .. "]" or text
end

-- Shows a frame, or a piece that is none, and returns its text for the info column. kind: of the
-- piece, an expert's name; false for a frame. direction: nil where it is not known.
local function showFrame(tvb, tree, kind, direction)
  local raw = tvb:raw()
  local root = tree:add(varno, tvb())
  local prefix = ""
  if direction then
    root:add(general.direction, direction):set_generated()
    prefix = direction .. " "
  end
  if kind then
    root:add_proto_expert_info(experts[kind])
    prefix = prefix .. kind .. " "
    if raw:sub(1, 1) ~= STX then
      root:add(general.payload, tvb())
      return prefix .. counted(#raw, "byte")
    end
  end

  local frame = readFrame(raw)
  local view = { info = {}, hidesRest = kind or #frame.problems > 0 }
  if frame.body == "" then
    root:add(general.payload, tvb())
  else
    view.bytes = ByteArray.new(frame.body, true):tvb("Without stuffing")
    for at = 1, math.min(3, #frame.body) do
      root:add(header[at], view.bytes(at - 1, 1))
    end
    showFields(view, root, frame)
  end
  for _, problem in ipairs(frame.problems) do
    showProblem(root, tvb, problem)
  end
  return prefix .. infoText(view, frame)
end

-- Attaching: to captures of link type USER0, one record a packet, and to streams over TCP.

-- What Wireshark knows of a packet under the name; nil for nothing, or where a version has no such
-- field.
local function extractor(name)
  local isKnown, field = pcall(Field.new, name)
  return function()
    local info = isKnown and field()
    return info and info.value
  end
end

local flagsDirection = extractor("frame.packet_flags_direction")
local interfaceName = extractor("frame.interface_name")
local comment = extractor("frame.comment")
local goesOn = extractor("frame.packet_flags_wrong_inter_frame_gap_error")
local tcpStream = extractor("tcp.stream")
local pieceFlags = {
  { "noise", extractor("frame.packet_flags_start_frame_delimiter_error") },
  { "torn", extractor("frame.packet_flags_unaligned_frame_error") },
  { "short", extractor("frame.packet_flags_packet_too_short_error") },
  { "long", extractor("frame.packet_flags_packet_too_error") },
  { "fault", extractor("frame.packet_flags_crc_error") },
}

-- As the display sees it: 1 is inbound, 2 outbound.
local function recordDirection()
  local flags = flagsDirection()
  if flags == 1 or flags == 2 then
    return flags == 1 and ">" or "<"
  end
  local name = interfaceName()
  return name == "phone-to-display" and ">" or name == "display-to-phone" and "<" or nil
end

local function tellInfo(pinfo, text)
  if pinfo.private["varno"] then
    pinfo.cols.info:append("; " .. text)
  else
    pinfo.cols.info:set(text)
    pinfo.private["varno"] = "told"
  end
  pinfo.cols.info:fence() -- more frames may come in the same packet
end

-- A record that is longer than a packet may be is several packets in a row: by the number of the
-- next one, what came before it.
local carried = {}

function varno.init()
  carried = {}
end

local function showRecord(tvb, pinfo, tree)
  if goesOn() then
    if not pinfo.visited then
      carried[pinfo.number + 1] = (carried[pinfo.number] or "") .. tvb:raw()
    end
    tellInfo(pinfo, "goes on in the next packet")
    tree:add(varno, tvb()):append_text(", goes on in the next packet")
    return
  end
  local before = carried[pinfo.number]
  if before then
    tvb = ByteArray.new(before .. tvb:raw(), true):tvb("Whole record")
  end
  local kind = false
  for _, flag in ipairs(pieceFlags) do
    kind = kind or flag[2]() and flag[1]
  end
  tellInfo(pinfo, showFrame(tvb, tree, kind, recordDirection()))
end

local MOST_FRAME = 1048576 -- what a receiver keeps of a frame

-- Of a stream, only what a packet says tells its direction.
local function frameDirection(frame)
  local command = unstuff(frame:sub(2, 3)):byte()
  return (command == 1 or command == 2) and ">" or command == 3 and "<" or nil
end

-- Cuts the stream as a receiver does: STX begins a frame wherever it stands.
local function showStream(tvb, pinfo, tree)
  local stream = tvb:raw()
  local from = 1
  while from <= #stream do
    local start = stream:find(STX, from, true)
    local stop, kind
    if start ~= from then
      stop, kind = (start or #stream + 1) - 1, "noise"
    else
      local mark = stream:find("[\2\3]", from + 1)
      if not mark and pinfo.can_desegment > 0 and #stream - from < MOST_FRAME then
        pinfo.desegment_offset = from - 1
        pinfo.desegment_len = DESEGMENT_ONE_MORE_SEGMENT
        return
      end
      local isEnded = mark and stream:sub(mark, mark) == ETX
      stop = not mark and #stream or isEnded and mark or mark - 1
      kind = not isEnded and (#stream - from < MOST_FRAME and "torn" or "long")
        or stop - from + 1 < SHORTEST_FRAME and "short"
    end
    local direction = kind ~= "noise" and frameDirection(stream:sub(from, stop)) or nil
    tellInfo(pinfo, showFrame(tvb(from - 1, stop - from + 1):tvb(), tree, kind, direction))
    from = stop + 1
  end
end

function varno.dissector(tvb, pinfo, tree)
  pinfo.cols.protocol = "Varno"
  if tvb:len() == 0 then
    tellInfo(pinfo, comment() or "") -- something that happened to the link
  elseif tcpStream() then
    showStream(tvb, pinfo, tree)
  else
    showRecord(tvb, pinfo, tree)
  end
  return tvb:len()
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, varno)
DissectorTable.get("tcp.port"):add_for_decode_as(varno)
