// The header that a framework in Swift may have beside the generated one.
#import <Foundation/Foundation.h>
