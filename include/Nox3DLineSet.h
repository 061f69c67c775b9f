#pragma once

#include <Nox3DIntArray.h>
#include <NoxExport.h>
#include <NoxVector3dArray.h>

/// Lines between common vertices. A plain value.
class NOX_EXPORT Nox3DLineSet
{
public:
    void SetVertex(const NoxVector3dArray& vertices) { vertices_ = vertices; }
    const NoxVector3dArray& Vertex() const noexcept { return vertices_; }

    /// Pairs of indices into the vertices, one pair a line. They are not checked.
    void SetLine(const Nox3DIntArray& pairs) { lines_ = pairs; }
    const Nox3DIntArray& Line() const noexcept { return lines_; }

private:
    NoxVector3dArray vertices_;
    Nox3DIntArray lines_;
};
