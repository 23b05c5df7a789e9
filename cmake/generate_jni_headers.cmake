# Run as a script: javac writes the JNI headers of the given sources; unchanged headers keep their time stamps, so a
# change of Java code that leaves natives and constants alone compiles no C++.
file(REMOVE_RECURSE "${work_dir}")
file(MAKE_DIRECTORY "${work_dir}/headers/natives" "${work_dir}/classes" "${work_dir}/sources")
# Only the packages are shown to javac: with the module's declaration it would want every module that it names.
file(CREATE_LINK "${sourcepath}/kiv" "${work_dir}/sources/kiv" SYMBOLIC)
execute_process(
    COMMAND "${javac}" -encoding UTF-8 -proc:none -nowarn -implicit:none -h "${work_dir}/headers"
        -d "${work_dir}/classes" -sourcepath "${work_dir}/sources" ${sources}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "javac could not make the JNI headers:\n${output}")
endif()
# javac's macros have neither type nor scope. VideoParams.OFFSET of the package of the natives becomes
# natives::VideoParams::OFFSET in <natives/VideoParams.h>: the same name in both languages.
set(prefix kiv_media_ffmpeg_natives_)
file(GLOB headers "${work_dir}/headers/${prefix}*.h")
foreach(header IN LISTS headers)
    get_filename_component(class "${header}" NAME_WE)
    string(REPLACE "${prefix}" "" class "${class}")
    file(STRINGS "${header}" lines REGEX "^#define ${prefix}${class}_[A-Z0-9_]+ -?[0-9]+L$")
    set(constants)
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^#define ${prefix}${class}_([A-Z0-9_]+) (-?[0-9]+)L$"
            "inline constexpr std::int32_t \\1 = \\2;\n" constant "${line}")
        string(APPEND constants "${constant}")
    endforeach()
    if(constants)
        file(WRITE "${work_dir}/headers/natives/${class}.h" "// Made from ${class}.java.\n#pragma once\n\n"
            "#include <cstdint>\n\nnamespace natives::${class}\n{\n${constants}}\n")
    endif()
endforeach()

# What an earlier build made of a class that is gone would be taken for the library's natives.
file(GLOB_RECURSE headers RELATIVE "${header_dir}" "${header_dir}/*.h")
foreach(header IN LISTS headers)
    if(NOT EXISTS "${work_dir}/headers/${header}")
        file(REMOVE "${header_dir}/${header}")
    endif()
endforeach()
file(GLOB_RECURSE headers RELATIVE "${work_dir}/headers" "${work_dir}/headers/*.h")
foreach(header IN LISTS headers)
    file(COPY_FILE "${work_dir}/headers/${header}" "${header_dir}/${header}" ONLY_IF_DIFFERENT)
endforeach()
