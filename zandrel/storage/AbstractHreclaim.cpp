#include "zandrel/storage/AbstractHreclaim.h"

AbstractHreclaim::~AbstractHreclaim() = default;
