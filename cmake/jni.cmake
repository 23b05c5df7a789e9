# kiv_jni: the JDK's jni.h. kiv_generate_jni_headers(): our own headers, made from the Java classes by javac:
# <kiv_media_ffmpeg_*.h> with the prototypes of natives, <natives/*.h> with the numbers that Java and C++ share.
find_package(Java 17 REQUIRED COMPONENTS Development)
if(NOT DEFINED ENV{JAVA_HOME} AND NOT DEFINED JAVA_HOME)
    # The JDK whose javac was found, so that compiler and headers belong together.
    get_filename_component(kiv_javac "${Java_JAVAC_EXECUTABLE}" REALPATH)
    get_filename_component(JAVA_HOME "${kiv_javac}/../.." ABSOLUTE)
endif()
# jni.h is all that is needed: the library is opened by a JVM and never starts one.
find_path(KIV_JNI_INCLUDE_DIR jni.h HINTS "${JAVA_HOME}/include" "$ENV{JAVA_HOME}/include" REQUIRED)
find_path(KIV_JNI_MD_INCLUDE_DIR jni_md.h HINTS "${KIV_JNI_INCLUDE_DIR}/linux" REQUIRED)
add_library(kiv_jni INTERFACE)
target_include_directories(kiv_jni SYSTEM INTERFACE "${KIV_JNI_INCLUDE_DIR}" "${KIV_JNI_MD_INCLUDE_DIR}")

# The classes that hold natives or numbers shared with C++. An entry point that includes its generated header cannot
# differ from the Java declaration without a compile error.
set(kiv_java_root "${CMAKE_SOURCE_DIR}/java/src/main/java")
file(GLOB kiv_native_classes CONFIGURE_DEPENDS
    "${kiv_java_root}/kiv/media/ffmpeg/c_multimediaapi_ffmpeg.java"
    "${kiv_java_root}/kiv/media/ffmpeg/natives/*.java")
list(FILTER kiv_native_classes EXCLUDE REGEX "/package-info\\.java$")

function(kiv_generate_jni_headers target)
    set(header_dir "${CMAKE_BINARY_DIR}/generated/jni")
    set(headers)
    foreach(source IN LISTS kiv_native_classes)
        file(RELATIVE_PATH class "${kiv_java_root}" "${source}")
        string(REGEX REPLACE "\\.java$" "" class "${class}")
        get_filename_component(name "${class}" NAME)
        string(REPLACE "/" "_" class "${class}")
        list(APPEND headers "${header_dir}/${class}.h")
        if(class MATCHES "_natives_")
            list(APPEND headers "${header_dir}/natives/${name}.h")
        endif()
    endforeach()
    file(MAKE_DIRECTORY "${header_dir}/natives")
    target_include_directories(${target} PUBLIC "${header_dir}")
    add_custom_command(
        OUTPUT ${headers}
        COMMAND "${CMAKE_COMMAND}"
            "-Djavac=${Java_JAVAC_EXECUTABLE}" "-Dsourcepath=${kiv_java_root}" "-Dsources=${kiv_native_classes}"
            "-Dheader_dir=${header_dir}" "-Dwork_dir=${CMAKE_BINARY_DIR}/generated/work"
            -P "${CMAKE_SOURCE_DIR}/cmake/generate_jni_headers.cmake"
        DEPENDS ${kiv_native_classes} "${CMAKE_SOURCE_DIR}/cmake/generate_jni_headers.cmake"
        COMMENT "Generating JNI headers"
        VERBATIM)
    add_custom_target(jni_headers DEPENDS ${headers})
    add_dependencies(${target} jni_headers)
endfunction()
