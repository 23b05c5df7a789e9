# Run as a script: javac writes the JNI headers of the given sources; unchanged headers keep their time stamps, so a
# change of Java code that leaves the natives alone compiles no C++.
file(REMOVE_RECURSE "${work_dir}")
file(MAKE_DIRECTORY "${work_dir}/headers" "${work_dir}/classes" "${work_dir}/sources")
# Only the packages are shown to javac: with the module's declaration it would want every module that it names.
file(CREATE_LINK "${sourcepath}/kiv" "${work_dir}/sources/kiv" SYMBOLIC)
execute_process(
    COMMAND "${javac}" -encoding UTF-8 -proc:none -nowarn -implicit:none -h "${work_dir}/headers"
        -d "${work_dir}/classes" -sourcepath "${work_dir}/sources" ${sources}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "javac could not make the JNI headers:\n${output}")
endif()
# What an earlier build made of a class that is gone would be taken for the library's natives.
file(GLOB headers RELATIVE "${header_dir}" "${header_dir}/*.h")
foreach(header IN LISTS headers)
    if(NOT EXISTS "${work_dir}/headers/${header}")
        file(REMOVE "${header_dir}/${header}")
    endif()
endforeach()
file(GLOB headers "${work_dir}/headers/*.h")
foreach(header IN LISTS headers)
    get_filename_component(name "${header}" NAME)
    file(COPY_FILE "${header}" "${header_dir}/${name}" ONLY_IF_DIFFERENT)
endforeach()
