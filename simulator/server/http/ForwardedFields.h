#pragma once

#include <boost/beast/http/fields.hpp>

#include "simulator/server/http/Http.h"

namespace vecamera::simulator {

/// The fields of a message that go on to the next server: not those of a single connection, nor
/// those that its "Connection" names, nor its length.
HeaderFields forwardedFields(const boost::beast::http::fields& fields);

}  // namespace vecamera::simulator
