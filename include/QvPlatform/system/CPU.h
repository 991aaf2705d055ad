#pragma once

#include <QvPlatform/core/Export.h>

/// The processors of this machine and their instruction sets, for selecting vectorised code paths.
///
///     if (QvPlatform::CPU::is_avx2_supported()) integrate = integrateWithAvx2;
///
/// Trap: the flags report what the processor supports, not what the operating system enables. They are read
/// once, when the library is loaded; without AVX an error is logged and loading continues. On another
/// processor architecture all are false. Any thread.
namespace QvPlatform::CPU {

/// The number of logical processors, whether or not this process may use them all; the same as
/// `Qv::QvThreadGetCPUCount`.
QV_API int getCoreCount();

QV_API bool is_sse_supported();
QV_API bool is_sse2_supported();
QV_API bool is_sse3_supported();
QV_API bool is_sse41_supported();
QV_API bool is_sse42_supported();
QV_API bool is_sse4a_supported();
QV_API bool is_aes_supported();
QV_API bool is_sha_supported();
QV_API bool is_avx_supported();
QV_API bool is_xop_supported();
QV_API bool is_fma3_supported();
QV_API bool is_fma4_supported();
QV_API bool is_avx2_supported();
QV_API bool is_avx512f_supported();
QV_API bool is_avx512cd_supported();
QV_API bool is_avx512pf_supported();
QV_API bool is_avx512er_supported();
QV_API bool is_avx512vl_supported();
QV_API bool is_avx512bw_supported();
QV_API bool is_avx512dq_supported();
QV_API bool is_avx512ifma_supported();
QV_API bool is_avx512vbmi_supported();

}  // namespace QvPlatform::CPU
