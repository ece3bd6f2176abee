# Lays out a player's tree with a checkout of the library in it, and configures it.
file(REMOVE_RECURSE ${FOLDER})
file(COPY ${SOURCE}/docs/snippets/embedded DESTINATION ${FOLDER})
file(CREATE_LINK ${SOURCE} ${FOLDER}/embedded/ZRDownloadKit SYMBOLIC)
execute_process(
  COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -D CMAKE_CXX_COMPILER=${COMPILER} -Wno-dev
    -S ${FOLDER}/embedded -B ${FOLDER}/build
  COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE ${FOLDER}/embedded/ZRDownloadKit)
