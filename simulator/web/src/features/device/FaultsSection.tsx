import { type FaultPoint, faultPoints, withFault } from "./faultPoints";
import type { Fault } from "../../core/messages";
import { useSimulator } from "../../state/context";
import { Field, Select, Switch } from "../../ui/controls";
import { PanelSection } from "./PanelSection";

const variantOf = (point: FaultPoint, fault: Fault): number => {
  const at = point.variants.findIndex(({ keys }) =>
    Object.entries(keys).some(([key, value]) => fault[key as keyof Fault] === value),
  );
  return Math.max(0, at);
};

export function FaultsSection() {
  const { client, state } = useSimulator();
  const known = state.faults.value;
  const faults = known ?? [];
  const set = (at: string, fault: Fault | null) =>
    void client.act({ do: "faults", to: withFault(faults, at, fault) as never });
  return (
    <PanelSection
      title="Faults"
      icon="warning"
      aside={faults.length > 0 ? <span class="live">{faults.length}</span> : undefined}
    >
      {faultPoints.map((point) => {
        const fault = faults.find((other) => other.at === point.at) ?? null;
        return (
          <div class="fault" key={point.at}>
            <Switch
              label={point.label}
              checked={fault !== null}
              disabled={!known}
              onChange={(on) =>
                set(point.at, on ? { at: point.at, ...(point.variants[0]?.keys ?? {}) } : null)
              }
            />
            {fault && <FaultFields point={point} fault={fault} set={set} />}
          </div>
        );
      })}
    </PanelSection>
  );
}

function FaultFields(props: {
  point: FaultPoint;
  fault: Fault;
  set: (at: string, fault: Fault) => void;
}) {
  const { point, fault, set } = props;
  const variant = variantOf(point, fault);
  const { at, times, path, error } = fault;
  const base: Fault = { at, ...(times !== undefined ? { times } : {}) };
  const withError =
    point.variants.length === 0 || Object.keys(point.variants[variant]?.keys ?? {}).length === 0;
  return (
    <div class="fault-fields">
      {point.variants.length > 1 && (
        <Select
          label="How"
          value={String(variant)}
          choices={point.variants.map(({ label }, index) => [String(index), label] as const)}
          onChange={(index) => set(at, { ...base, ...point.variants[Number(index)]?.keys })}
        />
      )}
      {withError &&
        point.fields.map((field) => (
          <Field
            key={field.key}
            label={field.label}
            value={(field.key === "error" ? error : path) ?? ""}
            placeholder={field.key === "error" ? "the platform’s own" : "any"}
            onCommit={(value) => set(at, { ...fault, [field.key]: value })}
          />
        ))}
      <Select
        label="How often"
        value={times === undefined ? "always" : times === 1 ? "1" : times === 2 ? "2" : "more"}
        choices={[
          ["always", "Always"],
          ["1", "Once"],
          ["2", "Twice"],
          ...(times !== undefined && times > 2 ? [["more", `${times} times`] as const] : []),
        ]}
        onChange={(often) => {
          const { times: _, ...rest } = fault;
          set(at, often === "always" ? rest : { ...rest, times: Number(often) || times || 1 });
        }}
      />
    </div>
  );
}
