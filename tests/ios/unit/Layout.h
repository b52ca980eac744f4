#pragma once

#import <Foundation/Foundation.h>

#include <string>

// A class whose superclass and subclass are in other files. Each has fields of its own, of C++ as
// well.
@interface LayoutBase : NSObject {
 @public
  char first;
  std::string base;
}
@property(nonatomic, strong) NSObject* held;
@end
@interface LayoutDerived : LayoutBase {
 @public
  std::string derived;
  int last;
}
@end
