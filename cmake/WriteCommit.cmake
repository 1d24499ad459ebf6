# cmake -DSOURCE=FOLDER -DCOMMIT=COMMIT -DOUTPUT=FILE -P WriteCommit.cmake
#
# Writes the source that tells the program its commit: COMMIT, or that of the repository in SOURCE when COMMIT is empty. A
# repository in which SOURCE is a folder among others is not that of the source.
if(NOT COMMIT)
  execute_process(COMMAND git -C ${SOURCE} rev-parse --show-prefix OUTPUT_VARIABLE folder OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(folder STREQUAL "")
    execute_process(COMMAND git -C ${SOURCE} rev-parse --verify HEAD OUTPUT_VARIABLE COMMIT OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
endif()
if(NOT COMMIT MATCHES "^[0-9A-Za-z.+~-]+$")
  set(COMMIT unknown)
endif()
file(WRITE ${OUTPUT} "#include \"cli/version.h\"\n\nconst char *cli::commit() { return \"${COMMIT}\"; }\n")
