#include <NoxROI.h>

void NoxROI::GenRect1(const NoxPoint& corner, const NoxPoint& opposite)
{
    value_.Set<NoxROITypeRect1>(corner, opposite);
}
bool NoxROI::GetRect1(NoxPoint* corner, NoxPoint* opposite) const
{
    return value_.Get<NoxROITypeRect1>(corner, opposite);
}

void NoxROI::GenCircle(const NoxPoint& centre, double radius) { value_.Set<NoxROITypeCircle>(centre, radius); }
bool NoxROI::GetCircle(NoxPoint* centre, double* radius) const { return value_.Get<NoxROITypeCircle>(centre, radius); }

void NoxROI::GenTorus(const NoxPoint& centre, double radius1, double radius2, double start, double sweep)
{
    value_.Set<NoxROITypeTorus>(centre, radius1, radius2, start, sweep);
}
bool NoxROI::GetTorus(NoxPoint* centre, double* radius1, double* radius2, double* start, double* sweep) const
{
    return value_.Get<NoxROITypeTorus>(centre, radius1, radius2, start, sweep);
}

void NoxROI::GenPolygon(const NoxPointArray& points) { value_.Set<NoxROITypePolygon>(points); }
bool NoxROI::GetPolygon(NoxPointArray* points) const { return value_.Get<NoxROITypePolygon>(points); }

void NoxROI::GenRect2(const NoxPoint& centre, double length1, double length2, double angle)
{
    value_.Set<NoxROITypeRect2>(centre, length1, length2, angle);
}
bool NoxROI::GetRect2(NoxPoint* centre, double* length1, double* length2, double* angle) const
{
    return value_.Get<NoxROITypeRect2>(centre, length1, length2, angle);
}

void NoxROI::GenLine(const NoxPoint& from, const NoxPoint& to) { value_.Set<NoxROITypeLine>(from, to); }
bool NoxROI::GetLine(NoxPoint* from, NoxPoint* to) const { return value_.Get<NoxROITypeLine>(from, to); }

void NoxROI::GenEllipse(const NoxPoint& centre, double radius1, double radius2, double angle)
{
    value_.Set<NoxROITypeEllipse>(centre, radius1, radius2, angle);
}
bool NoxROI::GetEllipse(NoxPoint* centre, double* radius1, double* radius2, double* angle) const
{
    return value_.Get<NoxROITypeEllipse>(centre, radius1, radius2, angle);
}

void NoxROI::GenPoint(const NoxPoint& point) { value_.Set<NoxROITypePoint>(point); }
bool NoxROI::GetPoint(NoxPoint* point) const { return value_.Get<NoxROITypePoint>(point); }
