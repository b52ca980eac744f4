#import "Layout.h"

@implementation LayoutBase
@end
