# Models, groups of buttons, compass, canvas, draw context and attribute objects.
add_library(q7_views_test STATIC views_test.cpp)
target_link_libraries(q7_views_test PUBLIC q7_flags q7_test_support)

foreach(module IN ITEMS q7model q7canvas q7mx q7compas)
  q7_test(ui_${module}_test FAKE_PLATFORM SOURCES ${module}_test.cpp LIBRARIES q7_views_test)
endforeach()
q7_test(ui_q7model_threads_test FAKE_PLATFORM SOURCES q7model_threads_test.cpp LIBRARIES q7_views_test LABELS threads)
