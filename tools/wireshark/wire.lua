
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
