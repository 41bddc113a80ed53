# The flags of every target of this project. They are set a target, never globally, so that a project
# which includes this one keeps its own settings.

function(oxbow_target_flags target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                         $<$<BOOL:${OXBOW_WERROR}>:-Werror>)
endfunction()

# What the product's own sources take besides: nothing leaves the library unless it is marked, and
# reports name a source relative to src/ whatever the build folder, so that two builds give the same bytes.
function(oxbow_product_flags target)
  oxbow_target_flags(${target})
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
                        POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE
    "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/src/="
    "-fdebug-prefix-map=${PROJECT_SOURCE_DIR}/=" "-fdebug-prefix-map=${PROJECT_BINARY_DIR}=.")
endfunction()
