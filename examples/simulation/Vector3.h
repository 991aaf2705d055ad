#pragma once

#include <cmath>

namespace simulation {

/// A point or a direction in space; y points up.
struct Vector3 {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    Vector3& operator+=(const Vector3& other) {
        x += other.x;
        y += other.y;
        z += other.z;
        return *this;
    }
};

inline Vector3 operator+(Vector3 a, const Vector3& b) { return a += b; }
inline Vector3 operator*(const Vector3& v, double factor) {
    return {v.x * factor, v.y * factor, v.z * factor};
}
inline Vector3 operator-(const Vector3& a, const Vector3& b) { return a + b * -1.0; }
inline double dot(const Vector3& a, const Vector3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double length(const Vector3& v) { return std::sqrt(dot(v, v)); }

}  // namespace simulation
