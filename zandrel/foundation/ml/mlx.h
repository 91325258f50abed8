// mlx: the exceptions of the message layer.
#ifndef ZANDREL_FOUNDATION_ML_MLX_H_
#define ZANDREL_FOUNDATION_ML_MLX_H_

#include <utility>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtX.h"

// The base of the message layer's exceptions. They have a message, but no number and no arguments.
class ZANDREL_EXPORT mlx : public qtxAll {
public:
    static constexpr int kCategory = 3;
    static constexpr int kSeverity = 1;

    explicit mlx(const qtString& message) : qtxAll(message, kCategory, kSeverity) {}

    mlx(const mlx&) = default;
    mlx& operator=(const mlx&) = default;
    ~mlx() override;
};

// An error of one value of an mlMessage.
class ZANDREL_EXPORT mlxNvp : public mlx {
public:
    mlxNvp(const qtString& message, qtString name) : mlx(message), m_name(std::move(name)) {}

    mlxNvp(const mlxNvp&) = default;
    mlxNvp& operator=(const mlxNvp&) = default;
    ~mlxNvp() override;

    // The name of the value. It is not cut, unlike the message.
    const qtString& name() const noexcept { return m_name; }

private:
    qtString m_name;
};

// The message has no value of this name.
class ZANDREL_EXPORT mlxNvpMissing : public mlxNvp {
public:
    using mlxNvp::mlxNvp;
    mlxNvpMissing(const mlxNvpMissing&) = default;
    mlxNvpMissing& operator=(const mlxNvpMissing&) = default;
    ~mlxNvpMissing() override;
};

// The value has, or would get, a type that does not fit.
class ZANDREL_EXPORT mlxNvpType : public mlxNvp {
public:
    using mlxNvp::mlxNvp;
    mlxNvpType(const mlxNvpType&) = default;
    mlxNvpType& operator=(const mlxNvpType&) = default;
    ~mlxNvpType() override;
};

#endif  // ZANDREL_FOUNDATION_ML_MLX_H_
