#pragma once

/// Element type of a range image; the codes are the depth codes of OpenCV. Each type has one value that marks a pixel
/// without a measurement: 0 for the unsigned types, the lowest finite value for all others. A NaN is no such marker.
enum NoxDataType : int {
    NoxDataType8U = 0,   ///< unsigned char, invalid 0
    NoxDataType8S = 1,   ///< char (signed), invalid -128
    NoxDataType16U = 2,  ///< unsigned short, invalid 0
    NoxDataType16S = 3,  ///< short, invalid -32768
    NoxDataType32S = 4,  ///< int, invalid -2147483648
    NoxDataType32F = 5,  ///< float, invalid -3.4028235e38
    NoxDataType64F = 6,  ///< double, invalid -1.7976931348623157e308
};

/// Depth of a gray image, with the same numbering.
enum NoxImageType : int {
    NoxImageType8U = 0,
    NoxImageType16U = 2,
};
