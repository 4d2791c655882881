# Pictures to and from files. zlib, when present, gives the PNG test a reader
# that owes nothing to our writer.
add_executable(image_io_test ${CMAKE_CURRENT_LIST_DIR}/image_io_test.cpp)
target_link_libraries(image_io_test PRIVATE tavrel_canvas GTest::gtest_main)
find_package(ZLIB)
if(ZLIB_FOUND)
  target_link_libraries(image_io_test PRIVATE ZLIB::ZLIB)
  target_compile_definitions(image_io_test PRIVATE TAVREL_TEST_HAVE_ZLIB)
endif()
gtest_discover_tests(image_io_test)
