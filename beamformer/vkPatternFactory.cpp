#include "beamformer/vkPatternFactory.h"

vkPatternFactory::~vkPatternFactory() = default;
