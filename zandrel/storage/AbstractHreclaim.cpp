// The destructor of the interface, which puts its virtual table and type information into the
// library.
#include "zandrel/storage/AbstractHreclaim.h"

AbstractHreclaim::~AbstractHreclaim() = default;
