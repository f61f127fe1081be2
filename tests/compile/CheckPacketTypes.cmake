# Says where a packet type of the library was forgotten: every unit of ROOT/VarnoNetwork/Network's
# Command, Event and Notification that makes one stands in PacketTypes.h, its type in the catalogue
# and in the table of its test.
#   cmake -D ROOT=... -P CheckPacketTypes.cmake
set(network ${ROOT}/VarnoNetwork/Network)
file(GLOB units RELATIVE ${network} ${network}/Command/*.h ${network}/Event/*.h
     ${network}/Notification/*.h)
set(forgotten "")

function(expect_line file line)
  file(READ ${ROOT}/${file} text)
  string(FIND "${text}" "${line}" found)
  if(found EQUAL -1)
    set(forgotten "${forgotten}\n  ${file} has no ${line}" PARENT_SCOPE)
  endif()
endfunction()

foreach(unit IN LISTS units)
  file(READ ${network}/${unit} text)
  if(text MATCHES "public (Typed|Identified)Packet<([A-Za-z0-9]+),")
    set(type ${CMAKE_MATCH_2})
    expect_line(VarnoNetwork/Network/PacketTypes.h "#include <VarnoNetwork/Network/${unit}>")
    expect_line(VarnoNetwork/Network/PacketCatalogue.cpp "PacketType::of<${type}>()")
    expect_line(tests/PacketTypesTest.cpp "${type}")
  endif()
endforeach()
if(forgotten)
  message(FATAL_ERROR "Forgotten:${forgotten}")
endif()
