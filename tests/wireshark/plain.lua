-- Behind the reading part of the dissector, in plain Lua: reads frames as lines of hex and prints of
-- each the problems, apart by tabs.
for line in io.lines() do
  local frame = line:gsub("..", function(digits)
    return string.char(tonumber(digits, 16))
  end)
  local texts = {}
  for _, problem in ipairs(readFrame(frame).problems) do
    table.insert(texts, problem.text)
  end
  print(table.concat(texts, "\t"))
end
