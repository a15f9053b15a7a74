# kvwmi_manifest(IDL OUT classes...) - the assembly manifest of what the IDL defines. CLASSES are the names of the classes
# that are built, in lower case: the manifest offers those, as registering does.
function(kvwmi_manifest idl out)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${idl})
  file(READ ${idl} text)
  # What would split CMake's lists, or keep them whole.
  string(REGEX REPLACE "[][;]" "" text "${text}")
  set(id "uuid\\(([0-9A-F-]+)\\)")

  string(REGEX MATCH "${id}, version\\(([0-9.]+)\\)[^{]*library" found "${text}")
  set(KVWMI_TLB_ID ${CMAKE_MATCH_1})
  set(KVWMI_TLB_VERSION ${CMAKE_MATCH_2})
  string(REGEX MATCH "^[0-9]+" major ${KVWMI_TLB_VERSION})

  string(REGEX MATCHALL "${id}, helpstring[^{]*coclass [A-Za-z]+" entries "${text}")
  foreach(entry IN LISTS entries)
    string(REGEX MATCH "${id}.*coclass (.*)" found "${entry}")
    set(name ${CMAKE_MATCH_2})
    string(TOLOWER ${name} key)
    if(key IN_LIST ARGN)
      string(APPEND KVWMI_MANIFEST_CLASSES
        "    <comClass clsid=\"{${CMAKE_MATCH_1}}\" progid=\"KVWMI.${name}.${major}\" threadingModel=\"Apartment\" tlbid=\"{${KVWMI_TLB_ID}}\">\n"
        "      <progid>KVWMI.${name}</progid>\n"
        "    </comClass>\n")
    endif()
  endforeach()

  string(REGEX MATCHALL "${id}, object[^{]*interface _[A-Za-z]+" entries "${text}")
  foreach(entry IN LISTS entries)
    string(REGEX MATCH "${id}.*interface (.*)" found "${entry}")
    string(APPEND KVWMI_MANIFEST_INTERFACES
      "  <comInterfaceExternalProxyStub name=\"${CMAKE_MATCH_2}\" iid=\"{${CMAKE_MATCH_1}}\" proxyStubClsid32=\"{00020424-0000-0000-C000-000000000046}\" tlbid=\"{${KVWMI_TLB_ID}}\"/>\n")
  endforeach()
  configure_file(${CMAKE_SOURCE_DIR}/packaging/KVWMI.manifest.in ${out} @ONLY)
endfunction()
