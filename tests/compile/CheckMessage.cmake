# Compiles SOURCE, which must fail with MESSAGE and in few words.
#   cmake -D COMPILER=... -D ROOT=... -D SOURCE=... -D MESSAGE=... -P CheckMessage.cmake
execute_process(
  COMMAND ${COMPILER} -std=c++20 -fsyntax-only -I ${ROOT} ${SOURCE}
  RESULT_VARIABLE result
  OUTPUT_VARIABLE text
  ERROR_VARIABLE text)
string(REGEX MATCHALL "\n" lines "${text}")
list(LENGTH lines count)
if(result EQUAL 0 OR NOT text MATCHES "${MESSAGE}" OR count GREATER 30)
  message(FATAL_ERROR "${SOURCE}: the compiler says in ${count} lines:\n${text}")
endif()
