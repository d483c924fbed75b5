# cmake -DOUTPUT=FOLDER -P draw-icons.cmake: makes the buttons' icons from the drawings, in the
# folders and sizes that the host asks for. The picture of 16 pixels has a drawing of its own: reduced,
# the larger one would be blurred.
find_program(RSVG_CONVERT rsvg-convert)
if(NOT RSVG_CONVERT)
  message(FATAL_ERROR "rsvg-convert is not there. Install the Debian package librsvg2-bin.")
endif()

function(draw folder drawing)
  file(MAKE_DIRECTORY ${OUTPUT}/${folder})
  foreach(size 16 32 64)
    math(EXPR double "${size} * 2")
    foreach(picture "${size}x${size}.png ${size}" "${size}x${size}@2x.png ${double}")
      separate_arguments(picture)
      list(GET picture 0 name)
      list(GET picture 1 pixels)
      set(file ${drawing})
      if(pixels EQUAL 16)
        set(file ${drawing}-16)
      endif()
      execute_process(
        COMMAND ${RSVG_CONVERT} --width ${pixels} --height ${pixels}
                --output ${OUTPUT}/${folder}/${name} ${CMAKE_CURRENT_LIST_DIR}/drawings/${file}.svg
        COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
  endforeach()
endfunction()

draw(Velorin velorin)
draw(Velorin/LessTen velorin-less-ten)
draw(Eshop eshop)
draw(Eshop/LessTen eshop-less-ten)
