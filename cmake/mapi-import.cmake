# mapi32_by_ordinal: the import library made from mapi32.def.
if(MSVC)
  set(qrv_mapi_lib ${CMAKE_BINARY_DIR}/mapi32_by_ordinal.lib)
  set(qrv_mapi_command ${CMAKE_AR} /nologo /machine:x64 /def:${CMAKE_CURRENT_LIST_DIR}/mapi32.def /out:${qrv_mapi_lib})
else()
  set(qrv_mapi_lib ${CMAKE_BINARY_DIR}/libmapi32_by_ordinal.a)
  # By its name alone, in its folder: dlltool makes symbols of the path that it is given.
  cmake_path(GET qrv_mapi_lib FILENAME qrv_mapi_name)
  set(qrv_mapi_command ${QRV_DLLTOOL} -m i386:x86-64 -d ${CMAKE_CURRENT_LIST_DIR}/mapi32.def -l ${qrv_mapi_name})
endif()
add_custom_command(OUTPUT ${qrv_mapi_lib}
  COMMAND ${qrv_mapi_command}
  DEPENDS ${CMAKE_CURRENT_LIST_DIR}/mapi32.def
  WORKING_DIRECTORY ${CMAKE_BINARY_DIR}
  VERBATIM)
add_custom_target(qrv_mapi_import DEPENDS ${qrv_mapi_lib})
add_library(mapi32_by_ordinal INTERFACE)
add_dependencies(mapi32_by_ordinal qrv_mapi_import)
target_link_libraries(mapi32_by_ordinal INTERFACE ${qrv_mapi_lib})
