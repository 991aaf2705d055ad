#pragma once

// What the plugins of the simulation publish for each other and for the host: one abstract class for each.
// The classes are declared with default visibility, so that a dynamic_cast on one side of a library's border
// recognises an object that was made on the other.

#include "Vector3.h"

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#include <string>

namespace simulation {

struct Sphere {
    double mass = 1.0;    ///< kilograms
    double radius = 0.1;  ///< metres
    Vector3 position;
    Vector3 velocity;
};

/// The spheres and the space they move in; published by the plugin "scene".
class QV_PLUGIN_EXPORT Scene : public QvPluginSystem::QvPluginObject {
public:
    virtual Qv::QvArray<Sphere>& spheres() = 0;
    virtual const Qv::QvArray<Sphere>& spheres() const = 0;
    /// The box that holds the spheres reaches from the origin to this corner.
    virtual Vector3 boxSize() const = 0;
    /// The acceleration of free fall; points straight down.
    virtual Vector3 gravity() const = 0;
};

/// Moves the spheres; published by "integrator".
class QV_PLUGIN_EXPORT Integrator : public QvPluginSystem::QvPluginObject {
public:
    /// Lets gravity change the velocities.
    virtual void accelerate(double seconds) = 0;
    /// Lets the velocities change the positions.
    virtual void move(double seconds) = 0;
};

/// Makes spheres bounce off each other and off the walls; published by "collision".
class QV_PLUGIN_EXPORT CollisionSolver : public QvPluginSystem::QvPluginObject {
public:
    /// Changes the velocities of whatever touches and approaches, and returns the number of such contacts.
    /// `seconds` is the length of the step under way.
    virtual int resolve(double seconds) = 0;
};

/// The simulation as a whole; published by "world".
class QV_PLUGIN_EXPORT World : public QvPluginSystem::QvPluginObject {
public:
    virtual void step(double seconds) = 0;
    /// The simulated time in seconds.
    virtual double time() const = 0;
    /// The contacts of all steps so far.
    virtual int contactCount() const = 0;
};

/// Keeps the course of the simulation; published by "recorder".
class QV_PLUGIN_EXPORT Recorder : public QvPluginSystem::QvPluginObject {
public:
    /// Notes where each sphere is now.
    virtual void sample() = 0;
    /// Writes all samples as comma-separated values; false when the file could not be written whole.
    virtual bool write(const std::string& path) const = 0;
};

}  // namespace simulation
