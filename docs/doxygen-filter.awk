# Turns the headers' plain comments into Doxygen's: those above a declaration, those behind one, and
# those that a blank line keeps apart, which speak of the file. A comment above several declarations
# in a row speaks of each.

function indentOf(line) {
  match(line, /^ */)
  return RLENGTH
}

function isComment(line) { return line ~ /^ *\/\// }

# The text with what Doxygen would take for a command or a tag escaped, except in backquotes.
function escaped(text,    parts, number, at, result) {
  number = split(text, parts, "`")
  for (at = 1; at <= number; ++at) {
    if (at % 2) gsub(/[\\@<>#%&]/, "\\\\&", parts[at])
    result = result (at > 1 ? "`" : "") parts[at]
  }
  return result
}

# The comment of the lines first to last. Lines that are set in stand as they are.
function documentation(first, last,    at, text, isCode, wasCode, result) {
  for (at = first; at <= last; ++at) {
    text = lines[at]
    sub(/^ *\/\//, "", text)
    isCode = text ~ /^   /
    if (isCode != wasCode) result = result "///\n"
    result = result "///" (isCode ? "    " text : escaped(text)) "\n"
    wasCode = isCode
  }
  return result
}

# Prints the declarations that stand in a row from line `at` on, each below the comment, but only the
# head of a class or namespace, whose members have comments of their own; returns the last line.
function printRow(at, comment,    indent, line, depth, begins, isClass) {
  indent = indentOf(lines[at])
  begins = 1
  for (; at <= count; ++at) {
    line = lines[at]
    if (depth == 0 && (line == "" || indentOf(line) < indent || isComment(line))) break
    if (begins) printf "%s", comment
    printLine(line)
    sub(/ *\/\/.*/, "", line)
    if (line ~ /^ *(namespace|class|struct|enum) /) isClass = 1
    if (isClass && line ~ /[{]$/) return at
    depth += gsub(/[({]/, "&", line) - gsub(/[)}]/, "&", line)
    begins = depth == 0 && line ~ /[;}]$/
  }
  return at - 1
}

function printLine(line) {
  sub(/ +\/\/ NOLINT.*/, "", line)
  if (line !~ /^ *[}#]/) sub(/ \/\/ /, " ///< ", line)
  print line
}

{ lines[++count] = $0 }

END {
  for (at = 1; at <= count; ++at) {
    if (!isComment(lines[at])) {
      printLine(lines[at])
      continue
    }
    first = at
    while (isComment(lines[at + 1])) ++at
    comment = documentation(first, at)
    if (lines[at + 1] != "") {
      at = printRow(at + 1, comment)
    } else {
      printf "/// \\file\n%s", comment
    }
  }
}
