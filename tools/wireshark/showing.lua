
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
