#pragma once
// This host names no media types.
