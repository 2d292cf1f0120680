# Compiles every PNG the build drew (RESOURCES) into a C source holding them as a GResource bundle
# under /tandri/images/, registered when the library is loaded:
#   cmake -DRESOURCES=dir -DOUTPUT=file.c -DCOMPILER=glib-compile-resources -P CompileImages.cmake
file(GLOB images RELATIVE ${RESOURCES} ${RESOURCES}/*.png)
list(SORT images)
set(xml "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<gresources>\n")
string(APPEND xml "  <gresource prefix=\"/tandri/images\">\n")
foreach(image ${images})
  string(APPEND xml "    <file>${image}</file>\n")
endforeach()
string(APPEND xml "  </gresource>\n</gresources>\n")
file(WRITE ${OUTPUT}.xml "${xml}")
execute_process(
  COMMAND ${COMPILER} --generate-source --internal --c-name tandri_images
    --sourcedir=${RESOURCES} --target=${OUTPUT} ${OUTPUT}.xml
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "glib-compile-resources failed")
endif()
