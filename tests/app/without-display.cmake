# Runs the app as from a terminal with no display at all (an empty environment: no DISPLAY, no
# WAYLAND_DISPLAY, no QT_QPA_PLATFORM) and checks that it answers ARGS with status 0 and an output
# matching EXPECT. cmake -DAPP=... -DARGS=a;b -DEXPECT=regex -P without-display.cmake
execute_process(COMMAND env -i ${APP} ${ARGS}
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(STRIP "${out}" out)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "tallowpine ${ARGS} ended with ${status}\nstdout: ${out}\nstderr: ${err}")
endif()
if(NOT out MATCHES "${EXPECT}")
    message(FATAL_ERROR "tallowpine ${ARGS} printed\n${out}\nwhich does not match ${EXPECT}")
endif()
