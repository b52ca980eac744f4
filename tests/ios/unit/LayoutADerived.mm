// Its name puts this file before its superclass's in the order of linking.
#import "Layout.h"

@implementation LayoutDerived
@end
