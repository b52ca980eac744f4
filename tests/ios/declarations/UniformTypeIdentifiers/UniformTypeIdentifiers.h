// Uniform type identifiers.
#pragma once

#import "../Foundation/Foundation.h"

NS_ASSUME_NONNULL_BEGIN

NS_ASSUME_NONNULL_END
