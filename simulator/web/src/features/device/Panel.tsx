import { AppearanceSection } from "./AppearanceSection";
import { ClockSection } from "./ClockSection";
import { FaultsSection } from "./FaultsSection";
import { FilesSection } from "./FilesSection";
import { LocationSection } from "./LocationSection";
import { PermissionsSection } from "./PermissionsSection";
import { PhotosSection } from "./PhotosSection";
import { SourcesSection } from "./SourcesSection";

/** Everything that is not in the user's hand on the phone itself. */
export function Panel() {
  return (
    <aside class="panel" aria-label="Device">
      <h2 class="column-title">Device</h2>
      <PermissionsSection />
      <PhotosSection />
      <LocationSection />
      <SourcesSection />
      <ClockSection />
      <FaultsSection />
      <FilesSection />
      <AppearanceSection />
    </aside>
  );
}
