#pragma once
// This host reads its configuration elsewhere.
