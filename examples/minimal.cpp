#include <Nox3DDataConvert.h>
#include <cstdio>

int main()
{
    NoxRangeImage image;
    image.SetSize(4, 3, NoxDataType32F);   // 4 columns, 3 rows
    image.SetInfo(1, 0, 0.5, 0, 0.25, 0);  // resolution and offset of z, of x (columns), of y (rows)
    for (int i = 0; i < 12; ++i) reinterpret_cast<float*>(image.Data())[i] = 0.7f;
    NoxPointCloud cloud;
    if (NOXEL::Nox3DDataConvert().RangeImageToPointCloud(image, &cloud) != 0) return 1;
    std::printf("last point: x %g, y %g, z %g\n", cloud.PointData()[33], cloud.PointData()[34], cloud.PointData()[35]);
}
