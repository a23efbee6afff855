# cmake -Dfrom=FILE -Dto=FILE -P PlaceDatabase.cmake: copies the delivered database, unless one is there.
if(NOT EXISTS "${to}")
  configure_file("${from}" "${to}" COPYONLY)
endif()
