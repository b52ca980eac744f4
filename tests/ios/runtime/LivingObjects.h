#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace vecamera::ios {

// Counts the objects that were made and not destroyed yet, from the first call on. GNUstep keeps
// the counts; blocks are no objects there.
void countLivingObjects();

// How many objects of this very class live; nothing of its subclasses.
std::size_t livingObjects(const std::string& className);

// The classes whose names begin with `prefix` and of which an object lives.
std::map<std::string, std::size_t> livingObjectsByClass(const std::string& prefix = "");

}  // namespace vecamera::ios
