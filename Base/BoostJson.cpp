// Compiles Boost.JSON into the project, so that the shipped host needs no library of it at run
// time.
#include <boost/json/src.hpp>
