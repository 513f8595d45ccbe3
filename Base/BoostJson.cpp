// Compiles Boost.JSON as part of the project, so that the shipped host needs no shared library of
// it.
#include <boost/json/src.hpp>
