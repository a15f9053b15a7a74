# A class's provider is one file CLASS.cpp here, named as the class in lower case (win32_process.cpp), that defines
# make_CLASS. The list of all of them is made from the names of the files.
file(GLOB files CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_LIST_DIR} ${CMAKE_CURRENT_LIST_DIR}/win32_*.cpp
     ${CMAKE_CURRENT_LIST_DIR}/cim_*.cpp)
list(FILTER files EXCLUDE REGEX "_test\\.cpp$")
set(declarations "")
set(entries "")
foreach(file ${files})
  string(REGEX REPLACE "\\.cpp$" "" class ${file})
  string(APPEND declarations "std::unique_ptr<embedded::Provider> make_${class}(const Machine& machine);\n")
  string(APPEND entries "    make_${class},\n")
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/factories.h.in ${CMAKE_CURRENT_BINARY_DIR}/include/linux/providers/factories.h
               @ONLY)
