
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
