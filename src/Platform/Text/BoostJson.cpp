// Boost.JSON itself, compiled into the library from its headers.
#include <boost/json/src.hpp>
