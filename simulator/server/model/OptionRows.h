#pragma once

#include "VECamera/platform/Value.h"
#include "simulator/server/base/DeviceNames.h"

namespace vecamera::simulator {

/// What the plug-in makes of the positional arguments of a `takePicture`, by its own rules, to be
/// shown and to be judged by:
///
/// - `rows`: for each option, in the order of the positions, its `position` (or positions), `name`
///   and `value`, whether the page gave it (`given`), and a `note` on an argument that does not
///   mean what it seems to.
/// - `values`: the options by name; null for one that is empty.
/// - `quality`: the `value` that a JPEG is encoded at, from 0 to 1 and beyond; `whole` where that
/// is
///   the best whatever quality the page asks for.
///
/// Names of options and of their values are those of the page client (page/src/options.ts).
Json optionsOf(const Array& arguments);

}  // namespace vecamera::simulator
