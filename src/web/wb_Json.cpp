// The JSON library's own code, in this file alone.
#include <boost/json/src.hpp>
