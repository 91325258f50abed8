// The destructors are defined here, so that the type information is only in the library. A program
// can then catch these exceptions by type, whatever shared library raises them.
#include "zandrel/foundation/ml/mlx.h"

mlx::~mlx() = default;
mlxNvp::~mlxNvp() = default;
mlxNvpMissing::~mlxNvpMissing() = default;
mlxNvpType::~mlxNvpType() = default;
