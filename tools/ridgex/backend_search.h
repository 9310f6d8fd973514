// Tells a user whose library started without any backend where the
// backends were looked for, and which of their files exist there.
#pragma once

void ExplainNoBackend();
