# The external byte order is made by shifts; optimised code must hold none of them, plain moves only.
# Called with -DCXX=, -DINCLUDE= and -DSCRATCH=.
set(source "#include <OxbowPoolManager/OxbowRpm_Swapper.h>\n")
foreach(type "short" "float" "long")
  string(APPEND source
    "void Out(char* to, const ${type}& value) { OxbowRpm_Swapper::ExternalizeScalar(to, value); }\n"
    "void In(const char* from, ${type}& value) { OxbowRpm_Swapper::InternalizeScalar(from, value); }\n")
endforeach()
file(WRITE "${SCRATCH}/moves.cpp" "${source}")
execute_process(COMMAND "${CXX}" -std=c++17 -O2 -S "-I${INCLUDE}" -o "${SCRATCH}/moves.s"
                        "${SCRATCH}/moves.cpp" COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS "${SCRATCH}/moves.s" instructions REGEX "^\t[a-z]")
list(FILTER instructions EXCLUDE REGEX "\t(endbr64|ret|retq)")
list(LENGTH instructions count)
list(FILTER instructions EXCLUDE REGEX "\t(mov[wlq]|movzwl|movss)\t")
# A load and a store for each of the six functions.
if(NOT count EQUAL 12 OR instructions)
  message(FATAL_ERROR "${count} instructions; no plain moves: ${instructions}")
endif()
